#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using StartUpTest = test::AppFixture;

TEST_F(StartUpTest, WaitsTwentySecondsWithoutAPort) {
  Launch();
  EXPECT_EQ(View(),
            "Quillet has started...||Trying to connect....................|"
            "Failed to connect to Tavo|");
  EXPECT_EQ(clock.Count(std::chrono::seconds(1)), 20U);
  EXPECT_TRUE(view.scrolledToEnd());
}

TEST_F(StartUpTest, ConnectsToAnAttachedScanner) {
  const std::string path = Attach("usbmodem1");
  Launch();
  EXPECT_EQ(View(), "Quillet has started...||Trying to connect " + path +
                        ": |Connected to Tavo[123456]|Tavo Time sychronized...|");
}

TEST_F(StartUpTest, DisconnectsAfterDisarmingWhenTheWindowCloses) {
  LaunchConnected();
  log.Clear();
  window.CloseByUser();
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
  const auto lines = log.lines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0], "-[QuilletAppDelegate windowWillClose:]");
  EXPECT_EQ(lines[1], "-[SyncController stopNotification]");
  EXPECT_EQ(lines[2], "-[SyncController Terminate]");
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_FALSE(registry.HasPort());
  EXPECT_FALSE(tavo.IsOpen());
  EXPECT_TRUE(application.applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(StartUpTest, DisconnectsWhenTheWindowClosesUnconnected) {
  Launch();
  window.CloseByUser();
  EXPECT_TRUE(View().ends_with("Disconnected from Tavo[000000]|"));
}

TEST_F(StartUpTest, ShowsTheSerialNumberInTheTitleWhileConnected) {
  Attach("usbmodem1");
  Launch();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(window.title(), "Quillet V1.25[123456]");
    connect.Press();
    mainQueue.RunAll();
    EXPECT_EQ(window.title(), "Quillet V1.25");
    connect.Press();
    FinishConnecting();
  }
}

TEST_F(StartUpTest, TakesItsStepsInOrder) {
  Launch();
  EXPECT_EQ(window.title(), "Quillet V1.25");
  const auto lines = log.lines();
  auto last = lines.begin();
  for (const char* step :
       {"-[LumetFile CreateBarcodeDirectory]", "-[Lumet init]",
        "-[SyncController findSerialPorts][0]",
        "-[SyncController RestoreSettings]: Read registry file done...",
        "-[QuilletAppDelegate changeWindowTitle:]", "-[SyncController startNotification]",
        "-[SyncController ConnectThread]"}) {
    last = std::find(last, lines.end(), step);
    EXPECT_NE(last, lines.end()) << step;
  }
  EXPECT_EQ(ports.items(), (std::vector<std::string>{"None", "None"}));
}

TEST_F(StartUpTest, StoresACopyOfTheString) {
  std::string text = "one";
  controller.setString(text);
  text = "two";
  EXPECT_EQ(controller.string(), "one");
}

}  // namespace
}  // namespace quillet
