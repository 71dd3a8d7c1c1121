#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "platform/Clock.h"

namespace quillet::platform::linux_desktop {

/// Limits the rate of events, so that their reader can keep up. One thread at a time.
class Pace {
 public:
  /// @param clock         must outlive this object
  /// @param timePerEvent  time per event at the steady rate
  /// @param mostAhead     maximum number of events that can be sent ahead of the steady rate
  /// @param pause         length of each pause
  Pace(Clock& clock, std::chrono::nanoseconds timePerEvent, std::size_t mostAhead,
       std::chrono::microseconds pause)
      : clock_(clock), timePerEvent_(timePerEvent), mostAhead_(mostAhead), pause_(pause) {}

  /// Call before sending `count` events. Pauses while they would be too far ahead of the steady
  /// rate.
  void Wait(std::size_t count) {
    const auto most = std::max(mostAhead_, count) * timePerEvent_;
    while (allRead_ + count * timePerEvent_ > clock_.Now() + most) clock_.Sleep(pause_);
    allRead_ = std::max(allRead_, clock_.Now()) + count * timePerEvent_;
  }

 private:
  Clock& clock_;
  const std::chrono::nanoseconds timePerEvent_;
  const std::size_t mostAhead_;
  const std::chrono::microseconds pause_;
  // Time by which a reader at the steady rate will have read all events.
  std::chrono::nanoseconds allRead_{};
};

}  // namespace quillet::platform::linux_desktop
