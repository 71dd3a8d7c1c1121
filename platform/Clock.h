#pragma once

#include <chrono>

#include "base/CalendarTime.h"

namespace quillet::platform {

/// Time and sleep. An interface, so that tests can skip long waits. Code that waits for another
/// process may limit the wait with std::chrono::steady_clock instead. Any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Returns the current time in the user's calendar and time zone.
  virtual CalendarTime LocalTime() = 0;

  /// Returns the time since a fixed point. Changes to the wall clock do not affect it.
  virtual std::chrono::nanoseconds Now() = 0;

  /// Suspends the calling thread for at least `duration`. Signals do not shorten the sleep.
  virtual void Sleep(std::chrono::microseconds duration) = 0;

  /// Allows the system to delay the end of each Sleep of the calling thread. The system can then
  /// combine wake-ups and save power. Threads and programs started by the calling thread may
  /// inherit this setting.
  /// @param slack  longest delay; 0 restores the default
  virtual void SetSleepSlack(std::chrono::microseconds slack) = 0;
};

}  // namespace quillet::platform
