#pragma once

#include <chrono>

#include "base/CalendarTime.h"

namespace quillet::platform {

using quillet::CalendarTime;

/// Time as the program sees it. It is handed in so that waits of many seconds can be tested in
/// milliseconds without touching the numbers in the code.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The present time in the user's calendar and time zone. Any thread.
  virtual CalendarTime LocalTime() = 0;

  /// Time since some fixed moment. It never goes back and is not affected by setting the wall
  /// clock; only differences mean anything. Any thread.
  virtual std::chrono::nanoseconds Now() = 0;

  /// Suspends the calling thread for at least `duration`. Any thread; signals do not shorten it.
  virtual void Sleep(std::chrono::microseconds duration) = 0;
};

}  // namespace quillet::platform
