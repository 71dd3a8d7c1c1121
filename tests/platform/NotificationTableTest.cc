#include <gtest/gtest.h>

#include <functional>

#include "platform/linux/NotificationTable.h"

namespace quillet::platform::linux_desktop {
namespace {

using Event = NotificationTable::Event;
using Handle = NotificationTable::Handle;

/// Counts the callbacks of one iterator.
struct Listener {
  static void Called(void* context, Handle iterator) {
    auto& self = *static_cast<Listener*>(context);
    ++self.calls;
    self.iterator = iterator;
    if (self.action) self.action(iterator);
  }
  int calls = 0;
  Handle iterator = 0;
  std::function<void(Handle)> action;
};

class NotificationTableTest : public testing::Test {
 protected:
  Handle Add(Event event, Listener& listener, std::size_t present = 0) {
    return table_.AddIterator(port_, event, &Listener::Called, &listener, present);
  }

  int Empty(Handle iterator) {
    int taken = 0;
    while (const Handle object = table_.Next(iterator)) {
      table_.Release(object);
      ++taken;
    }
    return taken;
  }

  NotificationTable table_;
  const NotificationTable::NotifyPort port_ = table_.AddPort();
};

TEST_F(NotificationTableTest, AnIteratorHoldsWhatIsPresent) {
  Listener listener;
  EXPECT_EQ(Empty(Add(Event::FirstMatch, listener, 3)), 3);
  EXPECT_EQ(Empty(Add(Event::Terminate, listener)), 0);
  EXPECT_EQ(listener.calls, 0);
}

TEST_F(NotificationTableTest, NothingIsNotifiedBeforeTheIteratorWasEmptied) {
  Listener arrivals;
  Listener removals;
  const Handle arrival = Add(Event::FirstMatch, arrivals, 2);
  const Handle removal = Add(Event::Terminate, removals);
  table_.Next(arrival);
  table_.Post(Event::FirstMatch);
  table_.Post(Event::Terminate);
  EXPECT_EQ(arrivals.calls + removals.calls, 0);
  EXPECT_EQ(Empty(arrival), 2);  // the second that was present, and the one that has come
  EXPECT_EQ(Empty(removal), 1);
  EXPECT_EQ(arrivals.calls + removals.calls, 0);
}

TEST_F(NotificationTableTest, AnEmptiedIteratorIsNotifiedWithOneObject) {
  Listener listener;
  const Handle iterator = Add(Event::FirstMatch, listener);
  Empty(iterator);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(listener.calls, 1);
  EXPECT_EQ(listener.iterator, iterator);
  EXPECT_EQ(Empty(iterator), 1);
}

TEST_F(NotificationTableTest, OnlyTheOwnKindOfEventIsNotified) {
  Listener listener;
  Empty(Add(Event::FirstMatch, listener));
  table_.Post(Event::Terminate);
  EXPECT_EQ(listener.calls, 0);
}

TEST_F(NotificationTableTest, AnIteratorNotEmptiedAgainCollectsWithoutACall) {
  Listener listener;
  const Handle iterator = Add(Event::FirstMatch, listener);
  Empty(iterator);
  table_.Post(Event::FirstMatch);
  table_.Post(Event::FirstMatch);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(listener.calls, 1);
  EXPECT_EQ(Empty(iterator), 3);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(listener.calls, 2);
}

TEST_F(NotificationTableTest, TakingTheLastObjectArmsAgain) {
  Listener listener;
  const Handle iterator = Add(Event::FirstMatch, listener, 1);
  EXPECT_NE(table_.Next(iterator), 0U);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(listener.calls, 1);
}

TEST_F(NotificationTableTest, EmptyingWithinTheCallbackArmsAgain) {
  Listener listener;
  listener.action = [this](Handle iterator) { EXPECT_EQ(Empty(iterator), 1); };
  Empty(Add(Event::FirstMatch, listener));
  for (int i = 0; i < 5; ++i) table_.Post(Event::FirstMatch);
  EXPECT_EQ(listener.calls, 5);
}

TEST_F(NotificationTableTest, AReleasedIteratorNotifiesNoMore) {
  Listener listener;
  const Handle iterator = Add(Event::FirstMatch, listener);
  Empty(iterator);
  table_.Release(iterator);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(listener.calls, 0);
  EXPECT_EQ(table_.Next(iterator), 0U);
}

TEST_F(NotificationTableTest, StaleHandlesDoNothing) {
  Listener listener;
  const Handle first = Add(Event::FirstMatch, listener, 1);
  const Handle object = table_.Next(first);
  table_.Release(first);
  const Handle second = Add(Event::FirstMatch, listener, 1);
  EXPECT_NE(first, second);
  EXPECT_NE(object, second);
  table_.Release(first);
  table_.Release(object);
  table_.Release(object);
  table_.Release(0);
  table_.Release(4711);
  EXPECT_EQ(table_.Next(object), 0U);
  EXPECT_EQ(table_.Next(0), 0U);
  EXPECT_EQ(Empty(second), 1);
}

TEST_F(NotificationTableTest, ARegistrationWithoutPortOrCallbackIsRefused) {
  Listener listener;
  EXPECT_EQ(table_.AddIterator(0, Event::FirstMatch, &Listener::Called, &listener, 1), 0U);
  EXPECT_EQ(table_.AddIterator(port_ + 1, Event::FirstMatch, &Listener::Called, &listener, 1), 0U);
  EXPECT_EQ(table_.AddIterator(port_, Event::FirstMatch, nullptr, &listener, 1), 0U);
}

TEST_F(NotificationTableTest, RemovingThePortWithinACallbackSparesTheOthersTheCall) {
  Listener first;
  Listener second;
  first.action = [this](Handle) { table_.RemovePort(port_); };
  Empty(Add(Event::FirstMatch, first));
  Empty(Add(Event::FirstMatch, second));
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(first.calls, 1);
  EXPECT_EQ(second.calls, 0);
  EXPECT_FALSE(table_.HasPorts());
}

TEST_F(NotificationTableTest, AnIteratorReleasedWithinACallbackIsNotCalledAndTheOthersAre) {
  Listener first;
  Listener second;
  Listener third;
  Empty(Add(Event::FirstMatch, first));
  const Handle released = Add(Event::FirstMatch, second);
  Empty(released);
  Empty(Add(Event::FirstMatch, third));
  first.action = [&](Handle) { table_.Release(released); };
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(second.calls, 0);
  EXPECT_EQ(third.calls, 1);
}

TEST_F(NotificationTableTest, PortsAreIndependent) {
  Listener mine;
  Listener others;
  const auto other = table_.AddPort();
  EXPECT_NE(other, port_);
  Empty(Add(Event::FirstMatch, mine));
  Empty(table_.AddIterator(other, Event::FirstMatch, &Listener::Called, &others, 0));
  table_.RemovePort(port_);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(mine.calls, 0);
  EXPECT_EQ(others.calls, 1);
  EXPECT_TRUE(table_.HasPorts());
}

TEST_F(NotificationTableTest, AnIteratorAddedWithinACallbackHearsOnlyWhatComesLater) {
  Listener inner;
  Listener outer;
  outer.action = [&](Handle iterator) {
    Empty(iterator);
    if (outer.calls == 1) Empty(Add(Event::FirstMatch, inner));
  };
  Empty(Add(Event::FirstMatch, outer));
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(inner.calls, 0);
  table_.Post(Event::FirstMatch);
  EXPECT_EQ(inner.calls, 1);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
