#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using Kind = platform::PortObstacle::Kind;
using Titles = std::vector<std::string>;

class PortMessagesTest : public test::AppFixture {
 protected:
  /// Starts the program, or another attempt to connect, and waits for the result.
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
    mainQueue.RunAll();
  }

  static constexpr char kPort[] = "/absent1";
};

TEST_F(PortMessagesTest, SayWhoMayUseThePort) {
  Fail({.kind = Kind::kPermission, .group = "dialout"});
  EXPECT_EQ(strip.text(),
            "No permission to use /absent1. Run the command to join the group dialout, then log "
            "in again.");
  ASSERT_EQ(strip.Buttons(), Titles{"Copy command"});
  strip.Press(0);
  Fail({.kind = Kind::kPermission});
  EXPECT_EQ(
      strip.text(),
      "No udev rule lets you use /absent1. Install the Quillet package, or run the command in a "
      "terminal.");
  ASSERT_EQ(strip.Buttons(), Titles{"Copy command"});
  strip.Press(0);
  EXPECT_EQ(pasteboard.texts(), (std::vector<std::string>{"sudo usermod -aG dialout \"$USER\"",
                                                          "sudo chown \"$USER\" /absent1"}));
  Fail({.kind = Kind::kPermission, .group = "dialout", .joined = true});
  EXPECT_EQ(strip.text(),
            "No permission to use /absent1. Log out and in again to activate the group dialout.");
}

TEST_F(PortMessagesTest, NameTheProgramThatUsesThePort) {
  Fail({.kind = Kind::kBusy, .program = "minicom"});
  EXPECT_EQ(strip.text(), "minicom is using /absent1. Close that program, then try again.");
  EXPECT_EQ(strip.Buttons(), Titles{"Try again"});
  Fail({.kind = Kind::kBusy});
  EXPECT_EQ(strip.text(), "Another program is using /absent1. Close that program, then try again.");
}

TEST_F(PortMessagesTest, TryAgainRepeatsTheAttempt) {
  const std::string port = folder / "usbmodem1";
  registry.Attach("usbmodem1", port);
  tavo.AttachSilent(port);
  Launch();
  EXPECT_EQ(strip.text(), "No scanner is responding on " + port +
                              ". Press the scanner's button. Check the cable.");
  ASSERT_EQ(strip.Buttons(), Titles{"Try again"});
  tavo.Attach(port, test::Scanner());
  strip.Press(0);
  FinishConnecting();
  EXPECT_TRUE(controller.bIsConnected);
  EXPECT_EQ(Attempts(), 2U);
  mainQueue.RunAll();
  EXPECT_EQ(strip.Buttons(), Titles{});
}

TEST_F(PortMessagesTest, EndWhenThePortIsUnplugged) {
  Fail({.kind = Kind::kBusy});
  registry.Unplug(kPort);
  mainQueue.RunAll();
  EXPECT_EQ(strip.Buttons(), Titles{});
}

}  // namespace
}  // namespace quillet
