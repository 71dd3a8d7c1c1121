#include <fcntl.h>

#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

class StartUpTest : public test::AppFixture {
 protected:
  // Closing a session that never connected closes descriptor 0.
  ~StartUpTest() override {
    if (fcntl(0, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
};

TEST_F(StartUpTest, WithoutAScannerTheProgramWaitsTwentySecondsAndSaysSo) {
  Launch();
  EXPECT_EQ(View(),
            "Quillet has started...||Trying to connect....................|"
            "Failed to connect to Tavo|");
  EXPECT_EQ(clock.Count(std::chrono::seconds(1)), 20U);
  EXPECT_TRUE(view.scrolledToEnd());
}

TEST_F(StartUpTest, AScannerThatIsAttachedIsTriedWithoutAnyAction) {
  registry.Attach("usbmodem1", SilentPort("port"));
  Launch();
  EXPECT_TRUE(
      View().starts_with("Quillet has started...||Trying to connect " + folder.path() + "/port: "));
}

TEST_F(StartUpTest, ClosingTheWindowStopsTheNotificationsAndThenDisconnects) {
  Launch();
  BecomeConnected();
  log.Clear();
  window.CloseByUser();
  mainQueue.RunAll();
  const auto lines = log.lines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0], "-[QuilletAppDelegate windowWillClose:]");
  EXPECT_EQ(lines[1], "-[SyncController stopNotification]");
  EXPECT_EQ(lines[2], "-[SyncController Terminate]");
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_FALSE(registry.HasPort());
  EXPECT_EQ(controller.lumet->bConnected(), false);
  EXPECT_TRUE(View().ends_with("Disconnected from Tavo[123456]|"));
  EXPECT_TRUE(application.applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(StartUpTest, ClosingTheWindowDisconnectsEvenWhenNoScannerEverWas) {
  Launch();
  window.CloseByUser();
  EXPECT_TRUE(View().ends_with("Disconnected from Tavo[000000]|"));
  EXPECT_EQ(controller.lumet->bConnected(), false);
}

TEST_F(StartUpTest, TheTitleIsTheBareOneAfterStartUpAndAfterEveryDisconnect) {
  Launch();
  EXPECT_EQ(window.title(), "Quillet V1.25");
  for (int round = 0; round < 2; ++round) {
    BecomeConnected();
    EXPECT_EQ(window.title(), "Quillet V1.25[123456]");
    controller.Terminate();
    mainQueue.RunAll();
    EXPECT_EQ(window.title(), "Quillet V1.25");
  }
}

TEST_F(StartUpTest, StartUpGoesThroughItsStepsInOrder) {
  Launch();
  const auto lines = log.lines();
  const auto at = [&](std::string_view line) {
    return std::find(lines.begin(), lines.end(), line) - lines.begin();
  };
  EXPECT_LT(at("-[LumetFile CreateBarcodeDirectory]"), at("-[Lumet init]"));
  EXPECT_LT(at("-[Lumet init]"), at("-[SyncController findSerialPorts][0]"));
  EXPECT_LT(at("-[SyncController findSerialPorts][0]"),
            at("-[SyncController RestoreSettings]: Read registry file done..."));
  EXPECT_LT(at("-[SyncController RestoreSettings]: Read registry file done..."),
            at("-[QuilletAppDelegate changeWindowTitle:]"));
  EXPECT_LT(at("-[QuilletAppDelegate changeWindowTitle:]"),
            at("-[SyncController startNotification]"));
  EXPECT_LT(at("-[SyncController startNotification]"), at("-[SyncController ConnectThread]"));
  EXPECT_EQ(ports.items(), (std::vector<std::string>{"None", "None"}));
}

TEST_F(StartUpTest, TheStringPropertyKeepsACopy) {
  std::string text = "one";
  controller.setString(text);
  text = "two";
  EXPECT_EQ(controller.string(), "one");
}

}  // namespace
}  // namespace quillet
