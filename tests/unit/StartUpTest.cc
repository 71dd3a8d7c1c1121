#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using StartUpTest = test::AppFixture;
using Texts = std::vector<std::string>;

TEST_F(StartUpTest, WaitsTwentySecondsForAPort) {
  Launch();
  EXPECT_EQ(View(),
            "Quillet has started...||Trying to connect....................|"
            "Failed to connect to Tavo|");
  EXPECT_EQ(clock.Count(std::chrono::seconds(1)), 20U);
  EXPECT_TRUE(view.scrolledToEnd());
}

TEST_F(StartUpTest, StopsNotificationsAndDisconnectsOnWindowClose) {
  LaunchConnected();
  log.Clear();
  window.CloseByUser();
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
  Texts lines = log.lines();
  lines.resize(3);
  EXPECT_EQ(lines, (Texts{"-[QuilletAppDelegate windowWillClose:]",
                          "-[SyncController stopNotification]", "-[SyncController Terminate]"}));
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_FALSE(registry.HasPort());
  EXPECT_FALSE(tavo.IsOpen());
  EXPECT_TRUE(application.applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(StartUpTest, ClosingReportsADisconnectEvenWithoutAScanner) {
  Launch();
  window.CloseByUser();
  EXPECT_TRUE(View().ends_with("Disconnected from Tavo[000000]|"));
}

TEST_F(StartUpTest, ShowsTheSerialNumberInTheTitleIfConnected) {
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

TEST_F(StartUpTest, RunsTheStartUpStepsInOrder) {
  Launch();
  EXPECT_EQ(window.title(), "Quillet V1.25");
  const Texts lines = log.lines();
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
  EXPECT_EQ(ports.items(), (Texts{"None", "None"}));
}

TEST_F(StartUpTest, SetStringStoresACopy) {
  std::string text = "one";
  controller.setString(text);
  text = "two";
  EXPECT_EQ(controller.string(), "one");
}

}  // namespace
}  // namespace quillet
