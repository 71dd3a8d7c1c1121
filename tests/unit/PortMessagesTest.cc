#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using Kind = platform::PortObstacle::Kind;
using Titles = std::vector<std::string>;
using test::WaitFor;

class PortMessagesTest : public test::AppFixture {
 protected:
  /// Attempts to connect to a port with this obstacle, and waits until the attempt has failed. The
  /// first call also starts the program.
  void Fail(const platform::PortObstacle& obstacle) {
    registry.obstacle = obstacle;
    if (Attempts() == 0) {
      registry.Attach("usbmodem1", kPort);
      Launch();
    } else {
      ports.SelectItem(1);
      connect.Press();
      FinishConnecting();
    }
  }

  /// Waits until the strip shows a message.
  void ExpectMessage(const std::string& text, const Titles& buttons) {
    EXPECT_TRUE(WaitFor([&] {
      mainQueue.RunAll();
      return strip.text() == text;
    })) << strip.text();
    EXPECT_EQ(strip.Buttons(), buttons);
  }

  static constexpr char kPort[] = "/absent1";
};

TEST_F(PortMessagesTest, SaysHowToGetPermission) {
  Fail({.kind = Kind::kPermission, .group = "dialout"});
  ExpectMessage(
      "You do not have permission to use /absent1. Copy the command and run it in a "
      "terminal to join the dialout group, or add the device to 70-quillet-scanner.rules.",
      {"Copy command"});
  strip.Press(0);
  Fail({.kind = Kind::kPermission});
  ExpectMessage(
      "No udev rule gives you access to /absent1. Install the Quillet package, or copy the command "
      "and run it in a terminal.",
      {"Copy command"});
  strip.Press(0);
  EXPECT_EQ(pasteboard.texts(), (std::vector<std::string>{"sudo usermod -aG dialout \"$USER\"",
                                                          "sudo chown \"$USER\" /absent1"}));
  Fail({.kind = Kind::kPermission, .group = "dialout", .joined = true});
  ExpectMessage(
      "You do not have permission to use /absent1. Log out and back in for your "
      "membership in the dialout group to take effect.",
      {});
}

TEST_F(PortMessagesTest, NamesTheProgramThatUsesThePort) {
  Fail({.kind = Kind::kBusy, .program = "minicom"});
  ExpectMessage("minicom is using /absent1. Close that program, then try again.", {"Try again"});
  Fail({.kind = Kind::kBusy});
  ExpectMessage("Another program is using /absent1. Close that program, then try again.",
                {"Try again"});
}

TEST_F(PortMessagesTest, SaysThatTheSystemBlocksThePort) {
  Fail({.kind = Kind::kForbidden});
  ExpectMessage(
      "The system is blocking access to /absent1. If Quillet is running in a container or sandbox, "
      "give "
      "it access to the port.",
      {"Try again"});
}

TEST_F(PortMessagesTest, TryAgainButtonRepeatsTheAttempt) {
  const std::string port = folder / "usbmodem1";
  registry.Attach("usbmodem1", port);
  tavo.AttachSilent(port);
  Launch();
  EXPECT_EQ(strip.text(), "No scanner is responding on " + port +
                              ". Press the scanner's button, check the cable, then try again.");
  ASSERT_EQ(strip.Buttons(), Titles{"Try again"});
  tavo.Attach(port, test::Scanner());
  strip.Press(0);
  FinishConnecting();
  EXPECT_TRUE(controller.bIsConnected);
  EXPECT_EQ(Attempts(), 2U);
  mainQueue.RunAll();
  EXPECT_EQ(strip.Buttons(), Titles{});
}

TEST_F(PortMessagesTest, RemovesTheMessageIfThePortIsUnplugged) {
  registry.Attach("usbmodem2", "/absent2");
  Fail({.kind = Kind::kBusy});
  const std::string busy = "Another program is using /absent1. Close that program, then try again.";
  ExpectMessage(busy, {"Try again"});
  registry.Unplug("/absent2");
  ExpectMessage(busy, {"Try again"});
  registry.Unplug(kPort);
  ExpectMessage(
      "No scanner is connected. Plug in the scanner, or select its port and press Connect.", {});
}

TEST_F(PortMessagesTest, InspectionDoesNotDelayTheConnectionAttempt) {
  auto& found = test::Immortal<std::atomic<bool>>(false);
  registry.onInspect = [&found] { WaitFor([&] { return found.load(); }); };
  Fail({.kind = Kind::kBusy});
  EXPECT_TRUE(View().ends_with("Trying to connect /absent1: Failed|Failed to connect to Tavo|"));
  found = true;
  ExpectMessage("Another program is using /absent1. Close that program, then try again.",
                {"Try again"});
}

TEST_F(PortMessagesTest, DropsTheMessageIfAnotherAttemptHasBegun) {
  auto& found = test::Immortal<std::atomic<bool>>(false);
  registry.onInspect = [&found] { WaitFor([&] { return found.load(); }); };
  Fail({.kind = Kind::kBusy});
  Attach("usbmodem2");
  registry.Unplug(kPort);
  connect.Press();
  FinishConnecting();
  ASSERT_TRUE(controller.bIsConnected);
  found = true;
  ASSERT_TRUE(WaitFor([&] { return mainQueue.Size() > 0; }));
  mainQueue.RunAll();
  EXPECT_EQ(strip.Buttons(), Titles{});
}

}  // namespace
}  // namespace quillet
