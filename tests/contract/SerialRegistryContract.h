#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/SerialRegistry.h"
#include "tests/contract/Contract.h"

namespace quillet::test {

class RegistryHarness {
 public:
  virtual ~RegistryHarness() = default;
  virtual platform::SerialRegistry& Registry() = 0;
  /// Plugs a device in. @param number  1 to 9; the paths' order is that of the numbers
  virtual void Plug(int number) = 0;
  virtual void Unplug(int number) = 0;
  /// Makes the callbacks that are pending.
  virtual void RunMainLoop() = 0;
};

class SerialRegistryContract : public Contract<RegistryHarness> {
 protected:
  using Registry = platform::SerialRegistry;
  using Event = Registry::Event;
  using Handle = Registry::Handle;
  using Paths = std::vector<std::string>;

  /// Registers a callback, and counts its calls. Ends the registration when destroyed.
  class Listener {
   public:
    Listener(Registry& registry, Registry::NotifyPort port, Event event) : registry_(registry) {
      iterator = registry.AddMatchingNotification(
          port, event,
          [this](void* context, Handle notified) {
            EXPECT_EQ(context, this);
            EXPECT_EQ(notified, iterator);
            ++calls;
            if (action) action();
          },
          this);
      EXPECT_NE(iterator, 0U);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { Release(); }

    /// Takes every object off the iterator. @return how many there were
    int Empty() {
      int objects = 0;
      for (; const Handle object = registry_.Next(iterator); ++objects) registry_.Release(object);
      return objects;
    }
    void Release() { registry_.Release(std::exchange(iterator, 0)); }

    Handle iterator = 0;
    int calls = 0;
    std::function<void()> action;

   private:
    Registry& registry_;
  };

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

TEST_P(SerialRegistryContract, ReadsTheDevicesInAStableOrder) {
  EXPECT_EQ(Read(), Paths{});
  for (const int number : {1, 2, 3}) Plug(number);
  Paths paths = Read();
  ASSERT_EQ(paths.size(), 3U);
  EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
  EXPECT_EQ(Read(), paths);
  Unplug(2);
  paths.erase(paths.begin() + 1);
  EXPECT_EQ(Read(), paths);
}

TEST_P(SerialRegistryContract, ReadsNoMoreThanThereIsRoomFor) {
  for (const int number : {1, 2, 3}) Plug(number);
  Paths few(1), more(2);
  EXPECT_EQ(registry_.ReadSerialStreams(few, more), 1);
  EXPECT_EQ(registry_.ReadSerialStreams(more, few), 1);
  EXPECT_EQ(Read(0), Paths{});
}

TEST_P(SerialRegistryContract, AnIteratorHoldsTheDevicesPresent) {
  Plug(1);
  Plug(2);
  Listener arrivals(registry_, port_, Event::FirstMatch);
  Listener removals(registry_, port_, Event::Terminate);
  EXPECT_EQ(arrivals.Empty(), 2);
  EXPECT_EQ(removals.Empty(), 0);
  harness_->RunMainLoop();
  EXPECT_EQ(arrivals.calls + removals.calls, 0);
}

TEST_P(SerialRegistryContract, NotifiesOnlyOnceNextHasReturnedZero) {
  Listener arrivals(registry_, port_, Event::FirstMatch);
  Plug(1);
  registry_.Release(registry_.Next(arrivals.iterator));
  Plug(2);
  EXPECT_EQ(arrivals.calls, 0);
  EXPECT_EQ(arrivals.Empty(), 1);
  Plug(3);
  EXPECT_EQ(arrivals.calls, 1);
}

TEST_P(SerialRegistryContract, CollectsEventsUntilEmptiedAgain) {
  Listener arrivals(registry_, port_, Event::FirstMatch);
  arrivals.Empty();
  for (const int number : {1, 2, 3}) Plug(number);
  EXPECT_EQ(arrivals.calls, 1);
  EXPECT_EQ(arrivals.Empty(), 3);
  Plug(4);
  EXPECT_EQ(arrivals.calls, 2);
}

TEST_P(SerialRegistryContract, NotifiesEveryIteratorOfTheEvent) {
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

TEST_P(SerialRegistryContract, ReadsInACallbackWhatItNotifies) {
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

TEST_P(SerialRegistryContract, AReleasedIteratorNotifiesNoMore) {
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

TEST_P(SerialRegistryContract, ANewIteratorIsNotCalledForTheEventBefore) {
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

TEST_P(SerialRegistryContract, ACallbackMayDestroyThePort) {
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

TEST_P(SerialRegistryContract, APortIsIndependentOfADestroyedOne) {
  const Registry::NotifyPort other = registry_.CreateNotifyPort();
  EXPECT_NE(other, port_);
  Listener arrivals(registry_, port_, Event::FirstMatch);
  arrivals.Empty();
  registry_.DestroyNotifyPort(other);
  Plug(1);
  EXPECT_EQ(arrivals.calls, 1);
}

TEST_P(SerialRegistryContract, RefusesAnIteratorWithoutPortOrCallback) {
  const auto ignore = [](void*, Handle) {};
  EXPECT_EQ(registry_.AddMatchingNotification(0, Event::FirstMatch, ignore, this), 0U);
  EXPECT_EQ(registry_.AddMatchingNotification(port_, Event::FirstMatch, nullptr, this), 0U);
  registry_.DestroyNotifyPort(port_);
  EXPECT_EQ(registry_.AddMatchingNotification(port_, Event::FirstMatch, ignore, this), 0U);
  registry_.DestroyNotifyPort(port_);
}

TEST_P(SerialRegistryContract, IgnoresHandleZero) {
  EXPECT_EQ(registry_.Next(0), 0U);
  registry_.Release(0);
  registry_.DestroyNotifyPort(0);
}

}  // namespace quillet::test
