#pragma once

#include "platform/Clock.h"

namespace quillet::test {

/// A clock whose time never changes and whose sleeps return at once.
class NoClock final : public platform::Clock {
 public:
  CalendarTime LocalTime() override { return {}; }
  std::chrono::nanoseconds Now() override { return {}; }
  void Sleep(std::chrono::microseconds) override {}
  void SetSleepSlack(std::chrono::microseconds) override {}
};

}  // namespace quillet::test
