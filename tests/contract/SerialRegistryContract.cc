#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/UdevSerialRegistry.h"
#include "tests/contract/Contract.h"
#include "tests/platform/MockedUdev.h"
#include "tests/platform/RegistryListener.h"
#include "tests/support/FakePlatform.h"

namespace quillet::test {
namespace {

struct RegistryHarness {
  virtual ~RegistryHarness() = default;
  virtual platform::SerialRegistry& Registry() = 0;
  /// Plugs in a device.
  /// @param number  1 to 9; determines the order of the paths
  virtual void Plug(int number) = 0;
  virtual void Unplug(int number) = 0;
  /// Runs the main loop until all pending callbacks have been called.
  virtual void RunMainLoop() = 0;
};

struct FakeRegistryHarness final : RegistryHarness {
  static constexpr char kName[] = "Fake";
  platform::SerialRegistry& Registry() override { return registry; }
  void Plug(int number) override {
    registry.Plug("usbmodem" + std::to_string(number), "/dev/" + std::to_string(number));
  }
  void Unplug(int number) override { registry.Unplug("/dev/" + std::to_string(number)); }
  void RunMainLoop() override {}

  FakeRegistry registry;
};

struct UdevHarness final : RegistryHarness {
  static constexpr char kName[] = "Udev";
  platform::SerialRegistry& Registry() override { return registry; }
  void Plug(int number) override {
    const std::string digit = std::to_string(number);
    terminals[number] = system.AddUsbModem("3-" + digit + ":1.0", "ttyACM" + digit);
  }
  void Unplug(int number) override { system.Remove(terminals.at(number)); }
  void RunMainLoop() override { loop.RunUntilQuiet(); }

  MockedUdev system;
  PollLoop loop;
  std::map<int, std::string> terminals;
  platform::linux_desktop::UdevSerialRegistry registry{loop};
};

class SerialRegistryContract : public Contract<RegistryHarness> {
 protected:
  using Registry = platform::SerialRegistry;
  using Event = Registry::Event;
  using Handle = Registry::Handle;
  using Listener = RegistryListener;
  using Paths = std::vector<std::string>;

  ~SerialRegistryContract() override { registry_.DestroyNotifyPort(port_); }

  Paths Read(std::size_t room = 16) {
    Paths names(room), paths(room);
    paths.resize(static_cast<std::size_t>(registry_.ReadSerialStreams(names, paths)));
    return paths;
  }
  void Plug(int number) {
    harness_->Plug(number);
    harness_->RunMainLoop();
  }
  void Unplug(int number) {
    harness_->Unplug(number);
    harness_->RunMainLoop();
  }

  Registry& registry_ = harness_->Registry();
  Registry::NotifyPort port_ = registry_.CreateNotifyPort();
};

TEST_P(SerialRegistryContract, ReadsDevicesInPathOrder) {
  EXPECT_EQ(Read(), Paths{});
  for (const int number : {1, 2, 3}) Plug(number);
  Paths paths = Read();
  ASSERT_EQ(paths.size(), 3U);
  EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
  EXPECT_EQ(Read(), paths);
  Paths one(1), two(2);
  EXPECT_EQ(registry_.ReadSerialStreams(one, two), 1);
  EXPECT_EQ(registry_.ReadSerialStreams(two, one), 1);
  EXPECT_EQ(Read(0), Paths{});
  Unplug(2);
  paths.erase(paths.begin() + 1);
  EXPECT_EQ(Read(), paths);
}

TEST_P(SerialRegistryContract, ArrivalIteratorStartsWithConnectedDevices) {
  Plug(1);
  Plug(2);
  Listener arrivals(registry_, port_, Event::FirstMatch);
  Listener removals(registry_, port_, Event::Terminate);
  EXPECT_EQ(arrivals.Empty(), 2);
  EXPECT_EQ(removals.Empty(), 0);
  harness_->RunMainLoop();
  EXPECT_EQ(arrivals.calls + removals.calls, 0);
}

TEST_P(SerialRegistryContract, NotifiesAgainOnlyAfterTheIteratorIsEmptied) {
  Listener arrivals(registry_, port_, Event::FirstMatch);
  Plug(1);
  registry_.Release(registry_.Next(arrivals.iterator));
  Plug(2);
  EXPECT_EQ(arrivals.calls, 0) << "Next has not returned 0 yet";
  EXPECT_EQ(arrivals.Empty(), 1);
  for (const int number : {3, 4, 5}) Plug(number);
  EXPECT_EQ(arrivals.calls, 1);
  EXPECT_EQ(arrivals.Empty(), 3);
  Plug(6);
  EXPECT_EQ(arrivals.calls, 2);
}

TEST_P(SerialRegistryContract, NotifiesEveryIteratorRegisteredForTheEvent) {
  Listener first(registry_, port_, Event::FirstMatch);
  Listener second(registry_, port_, Event::FirstMatch);
  Listener removals(registry_, port_, Event::Terminate);
  for (Listener* listener : {&first, &second, &removals}) {
    listener->Empty();
    listener->action = [listener] { EXPECT_EQ(listener->Empty(), 1); };
  }
  Plug(1);
  Plug(2);
  EXPECT_EQ(first.calls, 2);
  EXPECT_EQ(second.calls, 2);
  EXPECT_EQ(removals.calls, 0);
  Unplug(1);
  EXPECT_EQ(removals.calls, 1);
}

TEST_P(SerialRegistryContract, CallbackReadsTheUpdatedDeviceList) {
  Listener arrivals(registry_, port_, Event::FirstMatch);
  Listener removals(registry_, port_, Event::Terminate);
  std::vector<std::size_t> present;
  for (Listener* listener : {&arrivals, &removals}) {
    listener->Empty();
    listener->action = [&, listener] {
      present.push_back(Read().size());
      listener->Empty();
    };
  }
  Plug(1);
  Plug(2);
  Unplug(1);
  EXPECT_EQ(present, (std::vector<std::size_t>{1, 2, 1}));
}

TEST_P(SerialRegistryContract, DoesNotNotifyAReleasedIterator) {
  Listener first(registry_, port_, Event::FirstMatch);
  Listener second(registry_, port_, Event::FirstMatch);
  Listener third(registry_, port_, Event::FirstMatch);
  for (Listener* listener : {&first, &second, &third}) listener->Empty();
  first.Release();
  second.action = [&] { third.Release(); };
  Plug(1);
  EXPECT_EQ(first.calls, 0);
  EXPECT_EQ(second.calls, 1);
  EXPECT_EQ(third.calls, 0);
}

TEST_P(SerialRegistryContract, DoesNotNotifyAnIteratorAddedDuringTheEvent) {
  Listener outer(registry_, port_, Event::FirstMatch);
  std::optional<Listener> inner;
  outer.Empty();
  outer.action = [&] {
    outer.Empty();
    if (inner) return;
    inner.emplace(registry_, port_, Event::FirstMatch);
    EXPECT_EQ(inner->Empty(), 1);
  };
  Plug(1);
  EXPECT_EQ(inner->calls, 0);
  Plug(2);
  EXPECT_EQ(inner->calls, 1);
}

TEST_P(SerialRegistryContract, CallbackCanDestroyTheNotifyPort) {
  Listener arrivals(registry_, port_, Event::FirstMatch);
  arrivals.Empty();
  arrivals.action = [&] {
    arrivals.Release();
    registry_.DestroyNotifyPort(std::exchange(port_, 0));
  };
  Plug(1);
  Plug(2);
  EXPECT_EQ(arrivals.calls, 1);
  EXPECT_EQ(Read().size(), 2U);
}

TEST_P(SerialRegistryContract, RejectsAMissingNotifyPortOrCallback) {
  const auto ignore = [](void*, Handle) {};
  EXPECT_EQ(registry_.AddMatchingNotification(0, Event::FirstMatch, ignore, this), 0U);
  EXPECT_EQ(registry_.AddMatchingNotification(port_, Event::FirstMatch, nullptr, this), 0U);
  registry_.DestroyNotifyPort(port_);
  EXPECT_EQ(registry_.AddMatchingNotification(port_, Event::FirstMatch, ignore, this), 0U);
  registry_.DestroyNotifyPort(port_);
}

TEST_P(SerialRegistryContract, IgnoresZeroAndReleasedHandles) {
  Plug(1);
  Listener first(registry_, port_, Event::FirstMatch);
  const Handle iterator = first.iterator;
  const Handle object = registry_.Next(iterator);
  first.Release();
  Listener second(registry_, port_, Event::FirstMatch);
  for (const Handle stale : {iterator, object, object, Handle{0}, Handle{4711}}) {
    EXPECT_NE(stale, second.iterator);
    registry_.Release(stale);
    EXPECT_EQ(registry_.Next(stale), 0U);
  }
  EXPECT_EQ(second.Empty(), 1);
}

TEST_P(SerialRegistryContract, NewNotifyPortWorksAfterOthersAreDestroyed) {
  Listener(registry_, port_, Event::FirstMatch).Empty();
  registry_.DestroyNotifyPort(port_);
  Plug(1);
  port_ = registry_.CreateNotifyPort();
  const Registry::NotifyPort other = registry_.CreateNotifyPort();
  EXPECT_NE(other, port_);
  Listener arrivals(registry_, port_, Event::FirstMatch);
  EXPECT_EQ(arrivals.Empty(), 1);
  registry_.DestroyNotifyPort(other);
  Plug(2);
  EXPECT_EQ(arrivals.calls, 1);
}

INSTANTIATE_TEST_SUITE_P(Registry, SerialRegistryContract,
                         (Implementations<RegistryHarness, FakeRegistryHarness, UdevHarness>()),
                         kNameOf);

}  // namespace
}  // namespace quillet::test
