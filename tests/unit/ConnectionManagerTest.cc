#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using test::WaitFor;

class ConnectionManagerTest : public test::AppFixture {
 protected:
  std::size_t Threads() const { return log.Count("-[SyncController ConnectThread]"); }
};

TEST_F(ConnectionManagerTest, ConnectDoesNothingWithoutAPort) {
  Launch();
  ClearView();
  connect.Press();
  EXPECT_EQ(View(), "");
  EXPECT_EQ(Threads(), 1U);
  EXPECT_TRUE(log.Has("-[SyncController connectButton:]"));
}

TEST_F(ConnectionManagerTest, ConnectDoesNothingWhileConnectingOrSynchronizing) {
  registry.Attach("usbmodem1", SilentPort("port"));
  Launch();
  ClearView();
  controller.bConnecting = true;
  connect.Press();
  controller.bConnecting = false;
  controller.bIsUnderSynchronization = true;
  connect.Press();
  EXPECT_EQ(View(), "");
  BecomeConnected();
  connect.Press();
  EXPECT_TRUE(controller.bIsConnected);
  controller.bIsUnderSynchronization = false;
  // The attempt goes on for a moment when the scanner has answered.
  controller.bConnecting = true;
  connect.Press();
  EXPECT_TRUE(controller.bIsConnected);
  controller.bConnecting = false;
  connect.Press();
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_EQ(Threads(), 1U);
}

TEST_F(ConnectionManagerTest, APortThatAppearsDuringTheWaitIsTried) {
  // It is plugged in during the third second; the connection thread sleeps until that is done.
  // Other threads of the program go on sleeping when the test has ended.
  const std::string port = SilentPort("late");
  auto& third = test::Immortal<std::atomic<bool>>(false);
  auto& plugged = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&clock = clock, &third, &plugged](std::size_t) {
    if (clock.Count(1s) != 3 || third) return;
    third = true;
    WaitFor([&] { return plugged.load(); });
  });
  application.applicationDidFinishLaunching();
  ASSERT_TRUE(WaitFor([&] { return third.load(); }));
  registry.Plug("usbmodem1", port);
  plugged = true;
  FinishConnecting();
  EXPECT_EQ(View(), "Quillet has started...||Trying to connect...|Trying to connect " + port +
                        ": Failed|Failed to connect to Tavo|");
  EXPECT_EQ(Threads(), 1U) << "the arrival was refused a thread of its own";
}

TEST_F(ConnectionManagerTest, OfThreePortsOnlyTheLastOfWhichAnswersTheLastIsConnected) {
  registry.Attach("usbmodem1", folder / "absent1");
  registry.Attach("usbmodem2", folder / "absent2");
  const std::string third = SilentPort("third");
  registry.Attach("usbmodem3", third);
  application.applicationDidFinishLaunching();
  ASSERT_TRUE(WaitFor([&] { return log.Has("[" + third + "]:Open succeeded !!!"); }));
  BecomeConnected();
  FinishConnecting();
  EXPECT_EQ(View(), "Quillet has started...||Trying to connect " + folder.path() +
                        "/absent1: Failed|Trying to connect " + folder.path() +
                        "/absent2: Failed|Trying to connect " + third +
                        ": |Connected to Tavo[123456]|Tavo Time sychronized...|");
  EXPECT_EQ(controller.connectedPortString.Get(), "usbmodem3");
  EXPECT_EQ(controller.portIndex, 2);
  EXPECT_EQ(connect.label(), "Disconnect");
  EXPECT_EQ(ports.items(), (std::vector<std::string>{"None", "Tavo[123456]"}));
  EXPECT_EQ(ports.SelectedItem(), 1);
}

TEST_F(ConnectionManagerTest, AReportOfNoConnectionStillTellsOfTheClock) {
  Launch();
  ClearView();
  controller.lumet->bSyncClock = 1;
  controller.TavoInitializationDone(false);
  EXPECT_EQ(View(), "Failed to connect to Tavo|Tavo Time sychronized...|");
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(ConnectionManagerTest, AReportOfNoConnectionStartsNoRun) {
  Launch();
  controller.lumet->bAutoSync = 1;
  controller.TavoInitializationDone(false);
  EXPECT_FALSE(log.Has("-[Lumet Synchronize]"));
}

TEST_F(ConnectionManagerTest, AFailedAttemptBringsTheProgramToTheFrontToo) {
  Launch();
  const int before = workspace.activations();
  controller.TavoInitializationDone(false);
  mainQueue.RunAll();
  EXPECT_EQ(workspace.activations(), before + 1);
}

TEST_F(ConnectionManagerTest, AutoSyncStartsARunThatDoesNotBlockConnect) {
  Launch();
  ClearView();
  controller.lumet->bAutoSync = 1;
  controller.lumet->bSyncClock = 0;
  BecomeConnected();
  EXPECT_EQ(View(), "|Connected to Tavo[123456]||Synchronization has started...|");
  EXPECT_FALSE(controller.bIsUnderSynchronization);
  EXPECT_TRUE(log.Has("-[Lumet Synchronize]"));
  connect.Press();
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(ConnectionManagerTest, DisconnectingShowsTheSerialNumberOfTheClosedSession) {
  Launch();
  BecomeConnected("9999654321");
  ClearView();
  connect.Press();
  EXPECT_EQ(View(), "Disconnected from Tavo[654321]|");
  EXPECT_EQ(controller.lumet->SerialNo.TextFrom(0), "");
  EXPECT_EQ(connect.label(), "Connect");
  EXPECT_EQ(window.title(), "Quillet V1.25");
}

TEST_F(ConnectionManagerTest, AFailedAttemptOnTheSelectedPortHasNoClosingLine) {
  registry.Attach("usbmodem1", folder / "absent");
  Launch();
  EXPECT_TRUE(View().ends_with("Failed|Failed to connect to Tavo|"));
  ClearView();
  connect.Press();
  FinishConnecting();
  EXPECT_EQ(View(), "|Trying to connect " + folder.path() + "/absent: Failed|");
}

TEST_F(ConnectionManagerTest, TheSelectedPortIsTheOneTried) {
  registry.Attach("usbmodem1", folder / "one");
  registry.Attach("usbmodem2", folder / "two");
  Launch();
  ClearView();
  ports.SelectItem(2);
  connect.Press();
  FinishConnecting();
  EXPECT_EQ(View(), "|Trying to connect " + folder.path() + "/two: Failed|");
  EXPECT_EQ(controller.portIndex, 1);
}

TEST_F(ConnectionManagerTest, AnEntryThatIsNoPortIsAFailedAttempt) {
  registry.Attach("usbmodem1", folder / "one");
  Launch();
  for (const int entry : {0, 5}) {
    ClearView();
    while (ports.NumberOfItems() <= entry) ports.AddItem("None");
    ports.SelectItem(entry);
    log.Clear();
    controller.StartTavo();
    EXPECT_EQ(View(), "Trying to connect : Failed|");
    EXPECT_FALSE(log.Has("-[Lumet connectTavo:]"));
  }
}

TEST_F(ConnectionManagerTest, AScannerThatDoesNotAnswerIsGivenUpAfterFiveSeconds) {
  registry.Attach("usbmodem1", SilentPort("port"));
  Launch();
  EXPECT_EQ(clock.Count(10ms), 500U);
  EXPECT_TRUE(View().ends_with("port: Failed|Failed to connect to Tavo|"));
  EXPECT_TRUE(controller.lumet->bConnected()) << "the port is not closed";
}

TEST_F(ConnectionManagerTest, ALateReportBehindTheLastOf32PortsReadsNoNameOutsideTheArrays) {
  for (int i = 0; i < 32; ++i) {
    registry.Attach("usbmodem" + std::to_string(100 + i), folder / ("absent" + std::to_string(i)));
  }
  Launch();
  EXPECT_EQ(controller.numPorts, 32);
  EXPECT_EQ(controller.portIndex, 32);
  BecomeConnected();
  EXPECT_EQ(controller.connectedPortString.Get(), "");
  EXPECT_TRUE(View().ends_with("Connected to Tavo[123456]|Tavo Time sychronized...|"));
}

TEST_F(ConnectionManagerTest, ConnectingBringsTheProgramToTheFront) {
  Launch();
  const int before = workspace.activations();
  BecomeConnected();
  EXPECT_EQ(workspace.activations(), before + 1);
}

TEST_F(ConnectionManagerTest, DisconnectingLeavesARunFlagAlone) {
  Launch();
  BecomeConnected();
  controller.bIsUnderSynchronization = true;
  controller.Terminate();
  EXPECT_TRUE(controller.bIsUnderSynchronization);
}

}  // namespace
}  // namespace quillet
