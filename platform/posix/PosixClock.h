#pragma once

#include "platform/Clock.h"

namespace quillet::platform::posix {

/// The system's clocks. Holds no state; every call may be made from any thread.
class PosixClock final : public Clock {
 public:
  /// The wall clock (CLOCK_REALTIME) in the user's time zone. A change of the zone takes effect
  /// at the next call. A clock that stands outside the calendar gives CalendarTime's defaults.
  CalendarTime LocalTime() override;

  /// CLOCK_MONOTONIC.
  std::chrono::nanoseconds Now() override;

  /// Suspends the calling thread against CLOCK_MONOTONIC, so that setting the wall clock neither
  /// shortens nor prolongs it. Zero and negative durations return at once.
  void Sleep(std::chrono::microseconds duration) override;
};

}  // namespace quillet::platform::posix
