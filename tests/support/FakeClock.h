#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Clock.h"

namespace quillet::test {

/// A clock with a settable time of day. It shortens sleeps and records them, so that a test can
/// check how long the program would have waited. Any thread may use it.
class FakeClock final : public platform::Clock {
 public:
  using Duration = std::chrono::microseconds;

  /// @param speed  factor by which sleeps are shortened
  explicit FakeClock(double speed = 1000) : speed_(speed) {}

  CalendarTime LocalTime() override {
    const std::lock_guard lock(mutex_);
    return std::exchange(now_, next_.value_or(now_));
  }

  /// Sets the time of day.
  /// @param next  time of day for the second and later calls of LocalTime after this call
  void Set(const CalendarTime& now, std::optional<CalendarTime> next = {}) {
    const std::lock_guard lock(mutex_);
    now_ = now;
    next_ = next;
  }

  /// Returns the monotonic time, which only Sleep and Advance change.
  std::chrono::nanoseconds Now() override {
    const std::lock_guard lock(mutex_);
    return steady_;
  }

  void Advance(std::chrono::nanoseconds passed) {
    const std::lock_guard lock(mutex_);
    steady_ += passed;
  }

  void Sleep(Duration duration) override {
    // The pauses of the read thread are too frequent to record.
    if (duration != kReadPause) {
      std::function<void()> hook;
      {
        const std::lock_guard lock(mutex_);
        sleeps_.push_back(duration);
        steady_ += std::max(duration, Duration::zero());
        hook = onSleep_;
      }
      if (hook) hook();
    }
    std::this_thread::sleep_for(
        std::max<std::chrono::duration<double>>(duration / speed_, kShortest));
    while (stopped_) std::this_thread::sleep_for(std::chrono::hours(1));
  }

  /// Makes all sleeps last forever, so that threads that outlive the test stop polling. Call at the
  /// end of a test.
  void Stop() { stopped_ = true; }

  void SetSleepSlack(Duration slack) override {
    const std::lock_guard lock(mutex_);
    slacks_.push_back(slack);
  }

  /// The arguments of all calls to SetSleepSlack.
  std::vector<Duration> slacks() const {
    const std::lock_guard lock(mutex_);
    return slacks_;
  }

  /// The durations of all sleeps except those of the read thread, in order.
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

  /// Sets a function that runs during each recorded sleep, after the duration has been recorded and
  /// before the wait.
  void OnSleep(std::function<void()> hook) {
    const std::lock_guard lock(mutex_);
    onSleep_ = std::move(hook);
  }

 private:
  static constexpr Duration kReadPause{200};
  static constexpr Duration kShortest{20};

  const double speed_;
  mutable std::mutex mutex_;
  std::chrono::nanoseconds steady_ = std::chrono::seconds(1);
  CalendarTime now_{2026, 11, 16, 1, 4, 9};
  std::optional<CalendarTime> next_;
  std::vector<Duration> sleeps_;
  std::vector<Duration> slacks_;
  std::function<void()> onSleep_;
  std::atomic<bool> stopped_{false};
};

}  // namespace quillet::test
