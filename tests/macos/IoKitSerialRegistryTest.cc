#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <utility>

#include "platform/macos/IoKitSerialRegistry.h"
#include "tests/macos/Account.h"

namespace quillet::macos_tests {
namespace {

using platform::SerialRegistry;
using platform::macos::IoKitSerialRegistry;
using Event = SerialRegistry::Event;
using Handle = SerialRegistry::Handle;
using Devices = std::vector<std::pair<std::string, std::string>>;  // name, path

const Service kScanner{.name = "usbmodem14", .path = "/dev/cu.usbmodem14"};
const Service kPrinter{.name = "printer", .path = "/dev/cu.printer"};

class IoKitSerialRegistryTest : public testing::Test {
 protected:
  Devices Read(std::size_t room = 32) {
    std::vector<std::string> names(room);
    std::vector<std::string> paths(room);
    const auto count = static_cast<std::size_t>(registry_.ReadSerialStreams(names, paths));
    EXPECT_LE(count, room);
    Devices devices;
    for (std::size_t i = 0; i < count; ++i) devices.emplace_back(names[i], paths[i]);
    return devices;
  }

  /// Registers a callback that counts, empties its iterator and then does `then`.
  Handle Listen(Event event, int& calls, std::function<void()> then = nullptr) {
    return registry_.AddMatchingNotification(
        port_, event,
        [this, &calls, then](void* context, Handle iterator) {
          EXPECT_EQ(context, this);
          ++calls;
          Empty(iterator);
          if (then) then();
        },
        this);
  }

  int Empty(Handle iterator) {
    int taken = 0;
    while (const Handle object = registry_.Next(iterator)) {
      registry_.Release(object);
      ++taken;
    }
    return taken;
  }

  Account account_;
  IoKit& system_ = IoKit::Shared();
  IoKitSerialRegistry registry_;
  SerialRegistry::NotifyPort port_ = 0;
};

TEST_F(IoKitSerialRegistryTest, DevicesAreReadInTheOrderOfTheRegistry) {
  EXPECT_EQ(Read(), Devices{});
  system_.Attach(kScanner);
  system_.Attach(kPrinter);
  system_.Attach({.name = "Tavo-1", .path = "/dev/cu.Tavo-1"});
  EXPECT_EQ(Read(), (Devices{{"usbmodem14", "/dev/cu.usbmodem14"},
                             {"printer", "/dev/cu.printer"},
                             {"Tavo-1", "/dev/cu.Tavo-1"}}));
}

TEST_F(IoKitSerialRegistryTest, OnlySerialStreamsAreAskedFor) {
  system_.Attach({.name = "disk", .path = "/dev/disk1", .serviceClass = "IOMedia"});
  EXPECT_EQ(Read(), Devices{}) << "where nothing matches there is no iterator";
  system_.Attach(kScanner);
  Calls().clear();
  EXPECT_EQ(Read(), (Devices{{"usbmodem14", "/dev/cu.usbmodem14"}}));
  EXPECT_EQ(Calls(),
            (std::vector<std::string>{"IOServiceMatching IOSerialBSDClient",
                                      "IOServiceGetMatchingServices IOSerialStream",
                                      "IOIteratorNext: no more", "IOObjectRelease iterator"}));
}

TEST_F(IoKitSerialRegistryTest, AScannerMayBeAStreamOfAnyType) {
  const Service scanner{
      .name = "usbmodem411", .path = "/dev/cu.usbmodem411", .type = "IOModemSerialStream"};
  system_.Attach(scanner);
  EXPECT_EQ(Read(), (Devices{{"usbmodem411", "/dev/cu.usbmodem411"}}));
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  Empty(arrivals);
  system_.Plug(scanner);
  EXPECT_EQ(system_.RunLoopTurn(), 1);
  registry_.Release(arrivals);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, ADeviceWithoutACalloutPathLeavesItsPlaceToTheNext) {
  system_.Attach({.name = "usbmodem1", .path = {}});
  system_.Attach(kScanner);
  system_.Attach({.name = {}, .path = "/dev/cu.nameless"});
  system_.Attach({.name = "last", .path = {}});
  std::array<std::string, 32> names;
  std::array<std::string, 32> paths;
  ASSERT_EQ(registry_.ReadSerialStreams(names, paths), 1);
  EXPECT_EQ(names[0], "usbmodem14");
  EXPECT_EQ(paths[0], "/dev/cu.usbmodem14");
  EXPECT_EQ(names[1], "last") << "its name stays behind the others";
  EXPECT_EQ(paths[1], "");
}

TEST_F(IoKitSerialRegistryTest, NoMoreDevicesAreReadThanThereIsRoom) {
  for (int i = 0; i < 40; ++i) {
    system_.Attach({.name = "usbmodem" + std::to_string(i), .path = "/dev/" + std::to_string(i)});
  }
  const Devices devices = Read();
  ASSERT_EQ(devices.size(), 32U);
  EXPECT_EQ(devices.back().second, "/dev/31");
  EXPECT_EQ(Read(0).size(), 0U);
  EXPECT_EQ(Read(100).size(), 40U);
}

TEST_F(IoKitSerialRegistryTest, ANameThatIsNoTextIsNone) {
  system_.SpoilName(system_.Attach(kScanner));
  system_.Attach(kPrinter);
  EXPECT_EQ(Read(), (Devices{{"printer", "/dev/cu.printer"}}));
}

TEST_F(IoKitSerialRegistryTest, NamesOutsideAsciiAreUtf8) {
  system_.Attach({.name = "Tavo \xC3\xA9\xE2\x82\xAC", .path = "/dev/cu.\xC3\xA9"});
  EXPECT_EQ(Read(), (Devices{{"Tavo \xC3\xA9\xE2\x82\xAC", "/dev/cu.\xC3\xA9"}}));
}

TEST_F(IoKitSerialRegistryTest, WhatFailsYieldsNoDevicesAndIsTriedAgain) {
  system_.Attach(kScanner);
  for (bool IoKitFaults::*fault :
       {&IoKitFaults::masterPort, &IoKitFaults::matching, &IoKitFaults::matchingServices}) {
    system_.faults.*fault = true;
    EXPECT_EQ(Read(), Devices{});
    system_.faults = {};
  }
  EXPECT_EQ(Read().size(), 1U);
}

TEST_F(IoKitSerialRegistryTest, TheMasterPortIsAskedForOnce) {
  Read();
  Read();
  EXPECT_EQ(std::count(Calls().begin(), Calls().end(), "IOMasterPort"), 1);
}

TEST_F(IoKitSerialRegistryTest, ArmingAndDisarmingCallTheSystemInThisOrder) {
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  const Handle removals = Listen(Event::Terminate, calls);
  EXPECT_EQ(Calls(), (std::vector<std::string>{
                         "IONotificationPortCreate", "CFRunLoopAddSource",
                         "IOServiceMatching IOSerialBSDClient",
                         "IOServiceAddMatchingNotification IOServiceFirstMatch IOSerialStream",
                         "IOServiceAddMatchingNotification IOServiceTerminate IOSerialStream"}));
  Calls().clear();
  registry_.Release(arrivals);
  registry_.Release(removals);
  registry_.DestroyNotifyPort(port_);
  EXPECT_EQ(Calls(),
            (std::vector<std::string>{"IOObjectRelease iterator IOServiceFirstMatch",
                                      "IOObjectRelease iterator IOServiceTerminate",
                                      "CFRunLoopRemoveSource", "IONotificationPortDestroy"}));
}

TEST_F(IoKitSerialRegistryTest, ArmingCountsNothingAsAnArrival) {
  system_.Attach(kScanner);
  system_.Attach(kPrinter);
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  const Handle removals = Listen(Event::Terminate, calls);
  EXPECT_EQ(Empty(arrivals), 2);
  EXPECT_EQ(Empty(removals), 0);
  EXPECT_EQ(system_.RunLoopTurn(), 0);
  registry_.Release(arrivals);
  registry_.Release(removals);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, NothingIsNotifiedBeforeTheIteratorWasEmptied) {
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  system_.Plug(kScanner);
  EXPECT_EQ(system_.RunLoopTurn(), 0);
  EXPECT_EQ(Empty(arrivals), 1);
  system_.Plug(kScanner);
  EXPECT_EQ(system_.RunLoopTurn(), 1);
  registry_.Release(arrivals);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, EmptyingTheIteratorArmsItAgain) {
  int arrived = 0;
  int gone = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, arrived);
  const Handle removals = Listen(Event::Terminate, gone);
  Empty(arrivals);
  Empty(removals);
  for (int round = 1; round <= 3; ++round) {
    const int number = system_.Plug(kScanner);
    EXPECT_EQ(system_.RunLoopTurn(), 1);
    EXPECT_EQ(Read().size(), 1U);
    system_.Unplug(number);
    EXPECT_EQ(system_.RunLoopTurn(), 1);
    EXPECT_EQ(Read().size(), 0U);
    EXPECT_EQ(std::pair(arrived, gone), std::pair(round, round));
  }
  registry_.Release(arrivals);
  registry_.Release(removals);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, OtherServicesAreNotNotified) {
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  Empty(arrivals);
  system_.Plug({.name = "disk", .path = "/dev/disk1", .serviceClass = "IOMedia"});
  EXPECT_EQ(system_.RunLoopTurn(), 0);
  registry_.Release(arrivals);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, AReleasedIteratorNotifiesNoMore) {
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  Empty(arrivals);
  system_.Plug(kScanner);
  registry_.Release(arrivals);
  system_.RunLoopTurn();
  EXPECT_EQ(calls, 0);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, NewsOnItsWayFromAReleasedIteratorIsDropped) {
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  const Handle arrivals = Listen(Event::FirstMatch, calls);
  const auto late = system_.CallbackOf(arrivals);
  registry_.Release(arrivals);
  late();
  EXPECT_EQ(calls, 0);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, ACallbackMayEndItAll) {
  int calls = 0;
  Handle arrivals = 0;
  port_ = registry_.CreateNotifyPort();
  arrivals = Listen(Event::FirstMatch, calls, [&] {
    registry_.Release(arrivals);
    registry_.DestroyNotifyPort(port_);
  });
  Empty(arrivals);
  system_.Plug(kScanner);
  system_.RunLoopTurn();
  EXPECT_EQ(calls, 1);
}

TEST_F(IoKitSerialRegistryTest, MoreThanTwoRegistrationsHaveADictionaryEach) {
  int calls = 0;
  port_ = registry_.CreateNotifyPort();
  for (int i = 0; i < 3; ++i) {
    const Handle iterator = Listen(Event::FirstMatch, calls);
    EXPECT_NE(iterator, 0U);
    registry_.Release(iterator);
  }
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, WhatIsRefusedIsZeroAndLeavesNothingBehind) {
  int calls = 0;
  system_.faults.notifyPort = true;
  EXPECT_EQ(registry_.CreateNotifyPort(), 0U);
  EXPECT_EQ(Listen(Event::FirstMatch, calls), 0U) << "without a port";
  system_.faults = {};
  port_ = registry_.CreateNotifyPort();
  EXPECT_EQ(registry_.AddMatchingNotification(port_, Event::FirstMatch, nullptr, this), 0U);
  system_.faults.matching = true;
  EXPECT_EQ(Listen(Event::FirstMatch, calls), 0U);
  system_.faults = {.registration = true};
  EXPECT_EQ(Listen(Event::FirstMatch, calls), 0U);
  registry_.DestroyNotifyPort(port_);
}

TEST_F(IoKitSerialRegistryTest, NoHandleAndUnknownPortsDoNothing) {
  EXPECT_EQ(registry_.Next(0), 0U);
  registry_.Release(0);
  registry_.DestroyNotifyPort(0);
  registry_.DestroyNotifyPort(4711);
  EXPECT_EQ(Calls(), std::vector<std::string>{});
}

TEST(IoKitSerialRegistryEndTest, APortThatWasNotDestroyedGoesWithTheRegistry) {
  const Account account;
  IoKitSerialRegistry registry;
  const auto port = registry.CreateNotifyPort();
  const Handle iterator = registry.AddMatchingNotification(
      port, Event::FirstMatch, [](void*, Handle) {}, nullptr);
  registry.Release(iterator);
  EXPECT_EQ(IoKit::Shared().Ports(), 1U);
}

}  // namespace
}  // namespace quillet::macos_tests
