#pragma once

#include "platform/Clock.h"

namespace quillet::platform::posix {

/// Uses the system's clocks. Stateless.
class PosixClock final : public Clock {
 public:
  /// Uses CLOCK_REALTIME. A change of the time zone takes effect at the next call. Returns
  /// CalendarTime's defaults if the time is outside the calendar's range.
  CalendarTime LocalTime() override;

  std::chrono::nanoseconds Now() override;  ///< uses CLOCK_MONOTONIC

  /// Uses CLOCK_MONOTONIC. Returns immediately if `duration` is zero or negative.
  void Sleep(std::chrono::microseconds duration) override;

  /// On Linux, uses PR_SET_TIMERSLACK (prctl(2)). On macOS, chooses a quality-of-service class,
  /// which determines the slack.
  void SetSleepSlack(std::chrono::microseconds slack) override;
};

}  // namespace quillet::platform::posix
