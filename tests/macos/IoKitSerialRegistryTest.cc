#include <algorithm>
#include <array>

#include "platform/macos/IoKitSerialRegistry.h"
#include "tests/macos/fakes/Fakes.h"

namespace quillet::macos_tests {
namespace {

using platform::SerialRegistry;
using Event = SerialRegistry::Event;
using Handle = SerialRegistry::Handle;
using Devices = std::vector<std::pair<std::string, std::string>>;  // name, path
using Calls = std::vector<std::string>;

const Service kScanner{.name = "usbmodem14", .path = "/dev/cu.usbmodem14"};
const Service kPrinter{.name = "printer", .path = "/dev/cu.printer"};
const Service kDisk{.name = "disk", .path = "/dev/disk1", .serviceClass = "IOMedia"};

struct IoKitSerialRegistryTest : testing::Test {
  void TearDown() override { Disarm(); }

  Devices Read(std::size_t room = 32) {
    std::vector<std::string> names(room);
    std::vector<std::string> paths(room);
    const auto count = static_cast<std::size_t>(registry.ReadSerialStreams(names, paths));
    EXPECT_LE(count, room);
    Devices devices;
    for (std::size_t i = 0; i < count; ++i) devices.emplace_back(names[i], paths[i]);
    return devices;
  }

  /// Registers a callback that counts its calls, empties the iterator and then calls `then`.
  Handle Listen(Event event, std::function<void()> then = nullptr) {
    if (port == 0) port = registry.CreateNotifyPort();
    const auto callback = [this, event, then](void* context, Handle iterator) {
      EXPECT_EQ(context, this);
      ++(event == Event::FirstMatch ? arrivals : removals);
      Empty(iterator);
      if (then) then();
    };
    const Handle iterator = registry.AddMatchingNotification(port, event, callback, this);
    if (iterator != 0) listening.push_back(iterator);
    return iterator;
  }

  void Disarm() {
    for (const Handle iterator : std::exchange(listening, {})) registry.Release(iterator);
    registry.DestroyNotifyPort(std::exchange(port, 0));
  }

  int Empty(Handle iterator) {
    int taken = 0;
    while (const Handle object = registry.Next(iterator)) {
      registry.Release(object);
      ++taken;
    }
    return taken;
  }

  Account account;
  platform::macos::IoKitSerialRegistry registry;
  SerialRegistry::NotifyPort port = 0;
  std::vector<Handle> listening;
  int arrivals = 0;
  int removals = 0;
};

TEST_F(IoKitSerialRegistryTest, ReadsSerialDevicesThatHaveANameAndAPath) {
  const struct {
    std::vector<Service> services;
    Devices devices;
  } samples[] = {
      {{}, {}},
      {{kDisk}, {}},
      {{kScanner, kPrinter, {.name = "Tavo \xC3\xA9\xE2\x82\xAC", .path = "/dev/cu.\xC3\xA9"}},
       {{"usbmodem14", "/dev/cu.usbmodem14"},
        {"printer", "/dev/cu.printer"},
        {"Tavo \xC3\xA9\xE2\x82\xAC", "/dev/cu.\xC3\xA9"}}},
      {{{.name = "usbmodem411", .path = "/dev/cu.usbmodem411", .type = "IOModemSerialStream"}},
       {{"usbmodem411", "/dev/cu.usbmodem411"}}},
      {{{.name = "usbmodem1", .path = {}}, kScanner, {.name = {}, .path = "/dev/cu.nameless"}},
       {{"usbmodem14", "/dev/cu.usbmodem14"}}},
      {{{.name = "usbmodem14", .path = "/dev/cu.usbmodem14", .nameIsString = false}, kPrinter},
       {{"printer", "/dev/cu.printer"}}},
  };
  for (const auto& [services, devices] : samples) {
    TheMac().services = services;
    EXPECT_EQ(Read(), devices);
  }
}

TEST_F(IoKitSerialRegistryTest, DoesNotCountDevicesWithoutAPath) {
  TheMac().services = {{.name = "usbmodem1", .path = {}}, kScanner, {.name = "last", .path = {}}};
  std::array<std::string, 32> names;
  std::array<std::string, 32> paths;
  ASSERT_EQ(registry.ReadSerialStreams(names, paths), 1);
  EXPECT_EQ(names[0], "usbmodem14");
  EXPECT_EQ(paths[0], "/dev/cu.usbmodem14");
  EXPECT_EQ(names[1], "last");
  EXPECT_EQ(paths[1], "");
}

TEST_F(IoKitSerialRegistryTest, RequestsOnlySerialStreams) {
  TheMac().services = {kScanner};
  Read();
  const Calls request = {"IOServiceMatching IOSerialBSDClient",
                         "IOServiceGetMatchingServices IOSerialStream", "IOIteratorNext: no more",
                         "IOObjectRelease iterator"};
  EXPECT_EQ(TheMac().calls.front(), "IOMasterPort");
  EXPECT_TRUE(std::equal(request.begin(), request.end(), TheMac().calls.begin() + 1));
  TheMac().calls.clear();
  Read();
  EXPECT_EQ(TheMac().calls, request) << "the master port is not kept";
}

TEST_F(IoKitSerialRegistryTest, StopsReadingWhenTheListIsFull) {
  for (int i = 0; i < 40; ++i) Plug({.name = "usbmodem", .path = "/dev/" + std::to_string(i)});
  const Devices devices = Read();
  ASSERT_EQ(devices.size(), 32U);
  EXPECT_EQ(devices.back().second, "/dev/31");
  EXPECT_EQ(Read(0).size(), 0U);
  EXPECT_EQ(Read(100).size(), 40U);
}

TEST_F(IoKitSerialRegistryTest, RetriesAfterReadingDevicesFails) {
  Plug(kScanner);
  for (bool Mac::*fault :
       {&Mac::masterPortFails, &Mac::matchingFails, &Mac::matchingServicesFails}) {
    TheMac().*fault = true;
    EXPECT_EQ(Read(), Devices{});
    TheMac().*fault = false;
  }
  EXPECT_EQ(Read().size(), 1U);
}

TEST_F(IoKitSerialRegistryTest, CallsIoKitInTheRequiredOrder) {
  Listen(Event::FirstMatch);
  Listen(Event::Terminate);
  EXPECT_EQ(TheMac().calls,
            (Calls{"IONotificationPortCreate", "CFRunLoopAddSource",
                   "IOServiceMatching IOSerialBSDClient",
                   "IOServiceAddMatchingNotification IOServiceFirstMatch IOSerialStream",
                   "IOServiceAddMatchingNotification IOServiceTerminate IOSerialStream"}));
  TheMac().calls.clear();
  Disarm();
  EXPECT_EQ(TheMac().calls, (Calls{"IOObjectRelease iterator IOServiceFirstMatch",
                                   "IOObjectRelease iterator IOServiceTerminate",
                                   "CFRunLoopRemoveSource", "IONotificationPortDestroy"}));
}

TEST_F(IoKitSerialRegistryTest, NotifiesOnlyAfterTheIteratorIsEmptied) {
  Plug(kScanner);
  const Handle arriving = Listen(Event::FirstMatch);
  EXPECT_EQ(Empty(Listen(Event::Terminate)), 0);
  Plug(kPrinter);
  EXPECT_EQ(RunLoopTurn(), 0);
  EXPECT_EQ(Empty(arriving), 2);
  Plug(kScanner);
  EXPECT_EQ(RunLoopTurn(), 1);
}

TEST_F(IoKitSerialRegistryTest, NotifiesWhenADeviceIsPluggedInOrRemoved) {
  Empty(Listen(Event::FirstMatch));
  Empty(Listen(Event::Terminate));
  for (int round = 1; round <= 3; ++round) {
    const std::size_t number =
        Plug({.name = "usbmodem1", .path = "/dev/cu.usbmodem1", .type = "IOModemSerialStream"});
    EXPECT_EQ(RunLoopTurn(), 1);
    EXPECT_EQ(Read().size(), 1U);
    Unplug(number);
    EXPECT_EQ(RunLoopTurn(), 1);
    EXPECT_EQ(Read().size(), 0U);
    EXPECT_EQ(std::pair(arrivals, removals), std::pair(round, round));
    Plug(kDisk);
    EXPECT_EQ(RunLoopTurn(), 0);
  }
}

TEST_F(IoKitSerialRegistryTest, DropsThePendingEventOfAReleasedIterator) {
  const Handle iterator = Listen(Event::FirstMatch);
  Empty(iterator);
  Plug(kScanner);
  const auto pending = CallbackOf(static_cast<std::uint32_t>(iterator));
  listening.clear();
  registry.Release(iterator);
  EXPECT_EQ(RunLoopTurn(), 1);
  pending();
  EXPECT_EQ(arrivals, 0);
}

TEST_F(IoKitSerialRegistryTest, CallbackCanDestroyTheNotifyPort) {
  Empty(Listen(Event::FirstMatch, [this] { Disarm(); }));
  Plug(kScanner);
  RunLoopTurn();
  EXPECT_EQ(arrivals, 1);
  EXPECT_EQ(NotifyPorts(), 0U);
}

TEST_F(IoKitSerialRegistryTest, AcceptsMoreThanTwoRegistrations) {
  for (int i = 0; i < 3; ++i) EXPECT_NE(Listen(Event::FirstMatch), 0U);
}

TEST_F(IoKitSerialRegistryTest, ReturnsZeroIfRegistrationFails) {
  TheMac().notifyPortFails = true;
  EXPECT_EQ(registry.CreateNotifyPort(), 0U);
  EXPECT_EQ(Listen(Event::FirstMatch), 0U) << "there is no port";
  TheMac().notifyPortFails = false;
  port = registry.CreateNotifyPort();
  EXPECT_EQ(registry.AddMatchingNotification(port, Event::FirstMatch, nullptr, this), 0U);
  TheMac().matchingFails = true;
  EXPECT_EQ(Listen(Event::FirstMatch), 0U);
  TheMac().matchingFails = false;
  TheMac().registrationFails = true;
  EXPECT_EQ(Listen(Event::FirstMatch), 0U);
}

TEST_F(IoKitSerialRegistryTest, IgnoresHandleZeroAndUnknownNotifyPorts) {
  EXPECT_EQ(registry.Next(0), 0U);
  registry.Release(0);
  registry.DestroyNotifyPort(0);
  registry.DestroyNotifyPort(4711);
  EXPECT_EQ(TheMac().calls, Calls{});
}

TEST(IoKitSerialRegistryEndTest, DestructorDestroysTheRemainingNotifyPort) {
  const Account account;
  platform::macos::IoKitSerialRegistry registry;
  const auto port = registry.CreateNotifyPort();
  const Handle iterator = registry.AddMatchingNotification(
      port, Event::FirstMatch, [](void*, Handle) {}, nullptr);
  registry.Release(iterator);
  EXPECT_EQ(NotifyPorts(), 1U);
}

}  // namespace
}  // namespace quillet::macos_tests
