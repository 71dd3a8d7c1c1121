#pragma once

#include <chrono>
#include <cstdint>

namespace quillet::platform {

/// A moment in the user's calendar and time zone.
struct CalendarTime {
  std::int32_t year = 1970;  ///< full year, for example 2026
  std::int32_t month = 1;    ///< 1 to 12
  std::int32_t day = 1;      ///< 1 to 31
  std::int32_t hour = 0;     ///< 0 to 23
  std::int32_t minute = 0;   ///< 0 to 59
  std::int32_t second = 0;   ///< 0 to 59 (60 in a leap second)
};

/// Time as the program sees it. It is handed in so that waits of many seconds can be tested in
/// milliseconds without touching the numbers in the code.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The wall clock's present reading in local time. Any thread.
  virtual CalendarTime LocalTime() = 0;

  /// Time since some fixed moment. It never goes back and is not affected by setting the wall
  /// clock; only differences mean anything. Any thread.
  virtual std::chrono::nanoseconds Now() = 0;

  /// Suspends the calling thread for at least `duration`. Any thread; signals do not shorten it.
  virtual void Sleep(std::chrono::microseconds duration) = 0;
};

}  // namespace quillet::platform
