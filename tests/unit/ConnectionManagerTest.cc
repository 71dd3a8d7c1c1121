#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using test::WaitFor;

using ConnectionManagerTest = test::AppFixture;

TEST_F(ConnectionManagerTest, IgnoresTheConnectButtonIfThereAreNoPorts) {
  Launch();
  ClearView();
  connect.Press();
  EXPECT_EQ(View(), "");
  EXPECT_EQ(Attempts(), 1U);
  EXPECT_TRUE(log.Has("-[SyncController connectButton:]"));
}

TEST_F(ConnectionManagerTest, ShowsTheNoPortMessageForFiveSeconds) {
  Launch();
  connect.Press();
  for (const auto& [wait, text] : {std::pair(5s, "No port was found. Plug in the scanner."),
                                   std::pair(1s,
                                             "No scanner is connected. Plug in the scanner, or "
                                             "select its port and press Connect.")}) {
    clock.Advance(wait);
    mainQueue.RunAll();
    ticker.Tick();
    mainQueue.RunAll();
    EXPECT_EQ(strip.text(), text);
  }
  EXPECT_FALSE(ticker.IsRunning());
}

TEST_F(ConnectionManagerTest, IgnoresButtonsDuringAConnectionAttempt) {
  // Keeps the connection attempt running until the test has pressed Connect.
  auto& pressed = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&tavo = tavo, &connected = controller.bIsConnected, &pressed] {
    tavo.Settle(connected);
    if (connected) WaitFor([&] { return pressed.load(); });
  });
  Attach("usbmodem1");
  tavo.Hold("M");
  application.applicationDidFinishLaunching();
  tavo.WaitUntilHeld();
  const std::string before = View();
  for (auto* button : {&connect, &synchronize, &clear}) button->Press();
  EXPECT_EQ(View(), before);
  tavo.Release();
  ASSERT_TRUE(WaitFor([&] { return bool{controller.bIsConnected}; }));
  connect.Press();
  EXPECT_TRUE(controller.bIsConnected);
  pressed = true;
  FinishConnecting();
  EXPECT_EQ(Attempts(), 1U);
}

TEST_F(ConnectionManagerTest, TriesAPortPluggedInDuringTheInitialWait) {
  // Extends the third one-second sleep until the test has plugged in the device.
  const std::string port = folder / "usbmodem1";
  tavo.AttachSilent(port);
  auto& third = test::Immortal<std::atomic<bool>>(false);
  auto& plugged = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&clock = clock, &third, &plugged] {
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
  EXPECT_EQ(Attempts(), 1U);
}

// A computer may lose its ports while it is suspended, and detect them in a different order when it
// resumes.
TEST_F(ConnectionManagerTest, TriesAPortSkippedByTheLastAttempt) {
  const std::string scanner = Attach("usbmodem0");
  registry.Unplug(scanner);
  registry.Attach("usbmodem1", folder / "silent");
  tavo.AttachSilent(folder / "silent");
  auto& waiting = test::Immortal<std::atomic<bool>>(false);
  auto& plugged = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&tavo = tavo, &connected = controller.bIsConnected, &waiting, &plugged] {
    tavo.Settle(connected);
    if (connected) return;
    waiting = true;
    WaitFor([&] { return plugged.load(); });
  });
  application.applicationDidFinishLaunching();
  ASSERT_TRUE(WaitFor([&] { return waiting.load(); }));
  // The silent port moves from the first position in the table to the second.
  registry.Unplug(folder / "silent");
  registry.Plug("usbmodem0", scanner);
  registry.Attach("usbmodem1", folder / "silent");
  registry.Plug("printer", "/printer");
  mainQueue.RunAll();
  EXPECT_EQ(Attempts(), 1U);
  plugged = true;
  FinishConnecting();
  ASSERT_TRUE(WaitFor([&] {
    mainQueue.RunAll();
    return Attempts() == 2;
  }));
  FinishConnecting();
  EXPECT_TRUE(controller.bIsConnected);
  EXPECT_EQ(Attempts(), 2U);
  EXPECT_TRUE(View().ends_with("Failed to connect to Tavo||Trying to connect " + scanner +
                               ": |Connected to Tavo[123456]|Tavo Time sychronized...|"))
      << View();
}

TEST_F(ConnectionManagerTest, MarksHiddenCharactersInTheSerialNumber) {
  simulator::DeviceSettings scanner = test::Scanner();
  scanner.serial = "0000\u202E\t12";
  LaunchConnected(std::move(scanner));
  EXPECT_EQ(window.title(), "Quillet V1.25[\uFFFD\uFFFD12]");
  EXPECT_EQ(ports.items().back(), "Tavo[\uFFFD\uFFFD12]");
  connect.Press();
  EXPECT_EQ(View(), "Disconnected from Tavo[\u202E\t12]|") << "unchanged in the view";
}

TEST_F(ConnectionManagerTest, ConnectsToTheFirstPortThatAnswers) {
  registry.Attach("usbmodem1", "/absent1");
  registry.Attach("usbmodem2", "/absent2");
  const std::string third = Attach("usbmodem3");
  Launch();
  EXPECT_EQ(View(),
            "Quillet has started...||Trying to connect /absent1: Failed|"
            "Trying to connect /absent2: Failed|Trying to connect " +
                third + ": |Connected to Tavo[123456]|Tavo Time sychronized...|");
  EXPECT_EQ(controller.connectedPortString.Get(), "usbmodem3");
  EXPECT_EQ(controller.portIndex, 2);
  EXPECT_EQ(connect.label(), "Disconnect");
  EXPECT_EQ(workspace.activations, 1);
  EXPECT_EQ(ports.items(), (std::vector<std::string>{"None", "Tavo[123456]"}));
  EXPECT_EQ(ports.SelectedItem(), 1);
}

TEST_F(ConnectionManagerTest, ShowsThatInitializationFailed) {
  StartWith({.syncclock = true, .autosync = true});
  Launch();
  ClearView();
  const int before = workspace.activations;
  controller.TavoInitializationDone(false);
  EXPECT_EQ(View(), "Failed to connect to Tavo|Tavo Time sychronized...|");
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_EQ(workspace.activations, before + 1);
  EXPECT_FALSE(log.Has("-[SyncController DoSynchronization]"));
}

TEST_F(ConnectionManagerTest, KeepsButtonsEnabledDuringAnAutomaticRun) {
  StartWith({.destination = 1, .autosync = true});
  const std::string path = Attach("usbmodem1", test::Scanner({"1"}));
  tavo.Hold("P");
  Launch();
  tavo.WaitUntilHeld();
  EXPECT_EQ(View(), "Quillet has started...||Trying to connect " + path +
                        ": |Connected to Tavo[123456]||Synchronization has started...|");
  EXPECT_FALSE(controller.bIsUnderSynchronization);
  clear.Press();
  EXPECT_EQ(View(), "");
  connect.Press();
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
  EXPECT_EQ(connect.label(), "Connect");
}

TEST_F(ConnectionManagerTest, TriesOnlyTheSelectedPortOnConnect) {
  registry.Attach("usbmodem1", "/one");
  registry.Attach("usbmodem2", "/two");
  Launch();
  EXPECT_TRUE(View().ends_with("Failed|Failed to connect to Tavo|"));
  ClearView();
  ports.SelectItem(2);
  connect.Press();
  FinishConnecting();
  EXPECT_EQ(View(), "|Trying to connect /two: Failed|");
  EXPECT_EQ(controller.portIndex, 1);
}

TEST_F(ConnectionManagerTest, ConnectingFailsIfTheSelectedItemIsNotAPort) {
  registry.Attach("usbmodem1", "/one");
  Launch();
  for (const int entry : {0, 5}) {
    ClearView();
    while (ports.NumberOfItems() <= entry) ports.AddItem("None", {});
    ports.SelectItem(entry);
    connect.Press();
    FinishConnecting();
    EXPECT_EQ(View(), "|Trying to connect : Failed|");
  }
  EXPECT_EQ(log.Count("-[Lumet connectTavo:]"), 1U);
}

TEST_F(ConnectionManagerTest, KeepsASilentPortOpenAfterFiveSeconds) {
  registry.Attach("usbmodem1", folder / "port");
  tavo.AttachSilent(folder / "port");
  Launch();
  EXPECT_EQ(clock.Count(10ms), 500U);
  EXPECT_TRUE(View().ends_with("port: Failed|Failed to connect to Tavo|"));
  EXPECT_TRUE(tavo.IsOpen());
}

TEST_F(ConnectionManagerTest, ConnectClearsTheIgnoredPressMessage) {
  registry.Attach("usbmodem1", folder / "port");
  tavo.AttachSilent(folder / "port");
  Launch();
  synchronize.Press();
  auto& seen = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&seen] { WaitFor([&] { return seen.load(); }); });
  connect.Press();
  EXPECT_TRUE(WaitFor([&] {
    mainQueue.RunAll();
    return strip.text().starts_with("Connecting to the scanner");
  })) << strip.text();
  seen = true;
  FinishConnecting();
}

TEST_F(ConnectionManagerTest, LateAnswerLeavesThePortNameEmpty) {
  registry.Attach("usbmodem1", "/absent");
  Launch();
  EXPECT_EQ(strip.text(),
            "No scanner is connected. Plug in the scanner, or select its port and press Connect.");
  controller.TavoInitializationDone(true);
  mainQueue.RunAll();
  EXPECT_EQ(strip.text(), "");
  EXPECT_EQ(controller.connectedPortString.Get(), "");
  EXPECT_TRUE(View().ends_with("Connected to Tavo[000000]|Tavo Time sychronized...|"));
}

}  // namespace
}  // namespace quillet
