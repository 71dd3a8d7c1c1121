// The program's own rules on the frameworks of macOS: which ports are listed, what hot-plugging
// does, and how records reach other applications.

#include "app/Destinations.h"
#include "program/Desktop.h"
#include "tests/macos/Account.h"
#include "tests/support/AppFixture.h"

namespace quillet::macos_tests {
namespace {

using Titles = std::vector<std::string>;

constexpr char kTextEdit[] = "/Applications/TextEdit.app";

/// The desktop as the program puts it together.
struct Mac {
  test::RecordingLog log;
  test::FakeClock clock;
  test::FakeMainQueue mainQueue;
  Desktop desktop = DesktopOfSession({log, clock, mainQueue, nullptr});

  test::OwnPlatform Parts() const {
    return {.registry = &SerialRegistryOfSystem(),
            .workspace = desktop.workspace.get(),
            .keyEvents = desktop.keyEvents.get(),
            .pasteboard = desktop.pasteboard.get(),
            .applications = desktop.applications.get()};
  }
};

class ProgramOnMacTest : public test::AppFixture {
 protected:
  ProgramOnMacTest() : AppFixture(1000, test::Immortal<Mac>().Parts()) {}

  void TearDown() override { controller.stopNotification(); }

  Service Device(const std::string& name) { return {.name = name, .path = folder / name}; }

  /// A device that is there already. @return its number
  int Attach(const std::string& name) { return system_.Attach(Device(name)); }

  /// @return the new device's number
  int Plug(const std::string& name) {
    const int number = system_.Plug(Device(name));
    EXPECT_EQ(system_.RunLoopTurn(), 1);
    return number;
  }

  void Unplug(int number) {
    system_.Unplug(number);
    EXPECT_EQ(system_.RunLoopTurn(), 1);
    mainQueue.RunAll();
  }

  void ConnectedOn(int index) {
    controller.portIndex = index;
    BecomeConnected();
    ClearView();
  }

  /// Ready to deliver to a destination.
  void DeliverTo(std::int32_t destination) {
    Launch();
    controller.lumet->bSyncClock = 0;
    ConnectedOn(0);
    controller.lumet->destination = destination;
    controller.lumet->appname.Set(kTextEdit);
    LaunchServices::Shared().installed = {kTextEdit};
    Calls().clear();
  }

  std::size_t Attempts() const { return log.Count("-[SyncController ConnectThread]"); }

  Account account_;
  IoKit& system_ = IoKit::Shared();
};

TEST_F(ProgramOnMacTest, OfTwoStreamsOnlyTheOneWithAScannersNameIsListed) {
  Attach("usbmodem14");
  Attach("Bluetooth");
  Launch();
  EXPECT_EQ(controller.numPorts, 1);
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem14"}));
  EXPECT_EQ(controller.path[0].Get(), folder / "usbmodem14");
}

TEST_F(ProgramOnMacTest, ANameIsCutBeforeItsFirstHyphenAndKept) {
  Attach("MyTavo300-1234");
  Launch();
  EXPECT_EQ(controller.stream[0].Get(), "MyTavo300");
  EXPECT_EQ(ports.items(), (Titles{"None", "MyTavo300"}));
}

TEST_F(ProgramOnMacTest, ADeviceWithoutACalloutPathIsNotListedUnderTheNextOnesName) {
  system_.Attach({.name = "usbmodem1", .path = {}});
  Attach("usbmodem2");
  Launch();
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem2"}));
}

TEST_F(ProgramOnMacTest, ArmingCountsNothingAsAnArrival) {
  Attach("usbmodem14");
  Launch();
  EXPECT_EQ(system_.RunLoopTurn(), 0);
  EXPECT_EQ(Attempts(), 1U);
}

TEST_F(ProgramOnMacTest, TheNotificationsAreArmedAndDisarmedInOrder) {
  Attach("usbmodem14");
  Launch();
  controller.stopNotification();
  Calls().clear();
  controller.startNotification();
  EXPECT_EQ(Calls(), (Titles{"IONotificationPortCreate", "CFRunLoopAddSource",
                             "IOServiceMatching IOSerialBSDClient",
                             "IOServiceAddMatchingNotification IOServiceFirstMatch IOSerialStream",
                             "IOIteratorNext: no more",
                             "IOServiceAddMatchingNotification IOServiceTerminate IOSerialStream",
                             "IOIteratorNext: no more"}));
  Calls().clear();
  controller.stopNotification();
  EXPECT_EQ(Calls(), (Titles{"IOObjectRelease iterator IOServiceFirstMatch",
                             "IOObjectRelease iterator IOServiceTerminate", "CFRunLoopRemoveSource",
                             "IONotificationPortDestroy"}));
}

TEST_F(ProgramOnMacTest, AnArrivalWhileDisconnectedStartsAnAttemptAndOneWhileConnectedNothing) {
  Launch();
  Plug("usbmodem1");
  FinishConnecting();
  EXPECT_EQ(Attempts(), 2U);
  ConnectedOn(0);
  const Titles before = ports.items();
  Plug("usbmodem2");
  EXPECT_EQ(View(), "");
  EXPECT_EQ(ports.items(), before);
  EXPECT_FALSE(test::WaitFor([this] { return Attempts() > 2; }, std::chrono::seconds(1)));
}

TEST_F(ProgramOnMacTest, ARemovalDisconnectsWhenAPortOfAnotherNameIsMetFirst) {
  Attach("usbmodemA");
  Attach("usbmodemB");
  const int third = Attach("printer");
  Launch();
  ConnectedOn(1);
  Unplug(third);
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(ProgramOnMacTest, ARemovalThatLeavesTheConnectedPortAloneKeepsTheConnection) {
  Attach("usbmodemA");
  const int second = Attach("usbmodemB");
  Launch();
  ConnectedOn(0);
  Unplug(second);
  EXPECT_TRUE(controller.bIsConnected);
}

TEST_F(ProgramOnMacTest, RemovingTheConnectedPortWhenItWasTheLastDisconnects) {
  const int scanner = Attach("usbmodem1");
  Launch();
  ConnectedOn(0);
  Unplug(scanner);
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(ProgramOnMacTest, TheNotificationsAreArmedAgainAfterEachChange) {
  Launch();
  for (int round = 0; round < 3; ++round) {
    const int scanner = Plug("usbmodem1");
    FinishConnecting();
    EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem1"}));
    Unplug(scanner);
    EXPECT_EQ(ports.items(), (Titles{"None", "None"}));
  }
}

TEST_F(ProgramOnMacTest, NoMoreThan32DevicesAreLookedAt) {
  for (int i = 0; i < 31; ++i) Attach("printer" + std::to_string(i));
  Attach("usbmodem1");
  Attach("usbmodem2");
  Launch();
  EXPECT_TRUE(log.Has("-[SyncController findSerialPorts][32]"));
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem1"}));
}

TEST_F(ProgramOnMacTest, WithoutTheRegistrysServicesTheListShowsNone) {
  system_.faults = {.matching = true};
  Launch();
  EXPECT_EQ(controller.numPorts, 0);
  EXPECT_EQ(ports.items(), (Titles{"None", "None"}));
}

TEST_F(ProgramOnMacTest, AConnectionBringsTheApplicationForward) {
  Attach("usbmodem1");
  Launch();
  const int before = AppKit::Shared().activations;
  ConnectedOn(0);
  EXPECT_EQ(AppKit::Shared().activations, before + 1);
}

TEST_F(ProgramOnMacTest, ARecordIsTypedKeyByKey) {
  DeliverTo(kToFrontmostApplication);
  controller.DisplayBarcode("aB\r\n");
  const auto& posted = Quartz::Shared().posted;
  ASSERT_EQ(posted.size(), 6U) << "a carriage return has no key";
  std::vector<std::pair<int, std::uint64_t>> downs;
  for (std::size_t i = 0; i < posted.size(); i += 2) {
    downs.emplace_back(posted[i].key, posted[i].flags);
    EXPECT_TRUE(posted[i].down && !posted[i + 1].down);
    EXPECT_EQ(posted[i].key, posted[i + 1].key);
    EXPECT_FALSE(posted[i + 1].flagsWereSet);
  }
  EXPECT_EQ(downs, (decltype(downs){{0, 0}, {11, 0x20000}, {36, 0}}));
}

TEST_F(ProgramOnMacTest, ARecordIsPastedWithCommandAndV) {
  DeliverTo(kToFrontmostApplication);
  controller.lumet->bNonEnglish = 1;
  controller.DisplayBarcode("12\xC3\xA9\r\n");
  EXPECT_EQ(AppKit::Shared().pasteboard.text, "12\xC3\xA9\r\n");
  const auto& posted = Quartz::Shared().posted;
  ASSERT_EQ(posted.size(), 2U);
  EXPECT_EQ(posted[0].key, 9);
  EXPECT_EQ(posted[0].flags, 0x100000U);
  EXPECT_FALSE(posted[1].flagsWereSet);
}

TEST_F(ProgramOnMacTest, TheNamedApplicationIsOpenedForEachRecordAndSeenToRun) {
  DeliverTo(kToNamedApplication);
  controller.DisplayBarcode("1");
  controller.DisplayBarcode("2");
  EXPECT_EQ(LaunchServices::Shared().opened, (Titles{kTextEdit, kTextEdit}));
  EXPECT_EQ(log.Count("/Applications/TextEdit.app Is Running"), 2U);
  EXPECT_EQ(Quartz::Shared().posted.size(), 4U);
}

TEST_F(ProgramOnMacTest, AnApplicationWithoutItsEndingIsNotFoundAndTypingGoesOn) {
  DeliverTo(kToNamedApplication);
  controller.lumet->appname.Set("/Applications/TextEdit");
  controller.DisplayBarcode("1");
  EXPECT_TRUE(log.Has("-[SyncController RunApplication]:Couldn't get FSRef"));
  EXPECT_TRUE(LaunchServices::Shared().opened.empty());
  EXPECT_EQ(Quartz::Shared().posted.size(), 2U);
}

}  // namespace
}  // namespace quillet::macos_tests
