#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Clock.h"

namespace quillet::test {

/// A clock whose time of day is set by the test and whose sleeps are shortened. Sleeps are counted,
/// so a test can say how long the code would have waited.
class FakeClock final : public platform::Clock {
 public:
  using Duration = std::chrono::microseconds;

  /// @param speed  how many times shorter than asked for a sleep is
  explicit FakeClock(double speed = 1000) : speed_(speed) {}

  platform::CalendarTime LocalTime() override {
    const std::lock_guard lock(mutex_);
    return std::exchange(now_, next_.value_or(now_));
  }

  void Set(const platform::CalendarTime& now) {
    const std::lock_guard lock(mutex_);
    now_ = now;
  }

  /// The time of day from the reading after the next on.
  void SetNext(const platform::CalendarTime& next) {
    const std::lock_guard lock(mutex_);
    next_ = next;
  }

  /// Goes on by sleeps, and when the test says so.
  std::chrono::nanoseconds Now() override {
    const std::lock_guard lock(mutex_);
    return steady_;
  }

  /// Moves the steady time on.
  void Advance(std::chrono::nanoseconds passed) {
    const std::lock_guard lock(mutex_);
    steady_ += passed;
  }

  void Sleep(Duration duration) override {
    // The read thread's pauses go on for ever and say nothing.
    if (duration != kReadPause) {
      std::function<void(std::size_t)> hook;
      std::size_t count = 0;
      {
        const std::lock_guard lock(mutex_);
        sleeps_.push_back(duration);
        steady_ += std::max(duration, Duration::zero());
        count = sleeps_.size();
        hook = onSleep_;
      }
      if (hook) hook(count);
    }
    const auto shortened = std::chrono::duration_cast<std::chrono::nanoseconds>(duration) / speed_;
    std::this_thread::sleep_for(
        std::max(std::chrono::duration_cast<std::chrono::nanoseconds>(shortened), kShortest));
  }

  /// Every sleep so far but the read thread's, in order.
  std::vector<Duration> sleeps() const {
    const std::lock_guard lock(mutex_);
    return sleeps_;
  }

  std::size_t Count(Duration duration) const {
    const auto all = sleeps();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), duration));
  }

  void ForgetSleeps() {
    const std::lock_guard lock(mutex_);
    sleeps_.clear();
  }

  /// Calls `hook` before each sleep with the number of sleeps so far, that one included.
  void OnSleep(std::function<void(std::size_t)> hook) {
    const std::lock_guard lock(mutex_);
    onSleep_ = std::move(hook);
  }

 private:
  static constexpr Duration kReadPause{200};
  static constexpr std::chrono::nanoseconds kShortest{20000};

  const double speed_;
  mutable std::mutex mutex_;
  std::chrono::nanoseconds steady_ = std::chrono::seconds(1);
  platform::CalendarTime now_{2026, 11, 16, 1, 4, 9};
  std::optional<platform::CalendarTime> next_;
  std::vector<Duration> sleeps_;
  std::function<void(std::size_t)> onSleep_;
};

}  // namespace quillet::test
