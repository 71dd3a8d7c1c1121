#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "platform/SerialRegistry.h"

namespace quillet::test {

/// Registers for one event of a registry and counts the callbacks. Releases the iterator when
/// destroyed.
class RegistryListener {
 public:
  using Registry = platform::SerialRegistry;
  using Handle = Registry::Handle;

  RegistryListener(Registry& registry, Registry::NotifyPort port, Registry::Event event)
      : registry_(registry) {
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
  RegistryListener(const RegistryListener&) = delete;
  RegistryListener& operator=(const RegistryListener&) = delete;
  ~RegistryListener() { Release(); }

  /// Arms the iterator by reading all its objects. Releases the objects.
  /// @return the number of objects
  int Empty() {
    int objects = 0;
    for (; const Handle object = registry_.Next(iterator); ++objects) registry_.Release(object);
    return objects;
  }
  void Release() { registry_.Release(std::exchange(iterator, 0)); }

  Handle iterator = 0;
  int calls = 0;
  std::function<void()> action;  ///< called on each notification

 private:
  Registry& registry_;
};

}  // namespace quillet::test
