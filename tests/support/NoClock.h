#pragma once

#include <algorithm>

#include "platform/Clock.h"

namespace quillet::test {

/// A clock whose sleeps return at once and advance the monotonic time. The time of day never
/// changes. For use by one thread.
class NoClock final : public platform::Clock {
 public:
  CalendarTime LocalTime() override { return {2026, 11, 16, 1, 4, 9}; }
  std::chrono::nanoseconds Now() override { return now_; }
  void Sleep(std::chrono::microseconds duration) override {
    now_ += std::max(duration, std::chrono::microseconds(0));
  }
  void SetSleepSlack(std::chrono::microseconds) override {}

 private:
  std::chrono::nanoseconds now_{0};
};

}  // namespace quillet::test
