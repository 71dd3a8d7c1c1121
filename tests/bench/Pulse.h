#pragma once

#include <QTimer>
#include <algorithm>
#include <chrono>
#include <ctime>

#include "tests/bench/Figure.h"

namespace quillet::bench {

inline double Milliseconds(Clock::duration duration) {
  return 1e3 * Seconds(duration);
}

/// Measures the time between passes of the main loop.
class Pulse {
 public:
  Pulse() {
    QObject::connect(&timer_, &QTimer::timeout, [this] { Beat(); });
    timer_.start(0);
  }

  void Reset() {
    last_ = Clock::now();
    lastProcessorTime_ = ProcessorTime();
    longestTurn_ = longestBusy_ = {};
  }

  double longestTurn() const { return Milliseconds(longestTurn_); }
  double longestBusy() const { return Milliseconds(longestBusy_); }

 private:
  /// Returns the processor time of the calling thread.
  static Clock::duration ProcessorTime() {
    timespec spent{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
    return std::chrono::seconds(spent.tv_sec) + std::chrono::nanoseconds(spent.tv_nsec);
  }

  void Beat() {
    longestTurn_ = std::max(longestTurn_, Clock::now() - last_);
    longestBusy_ = std::max(longestBusy_, ProcessorTime() - lastProcessorTime_);
    last_ = Clock::now();
    lastProcessorTime_ = ProcessorTime();
  }

  QTimer timer_;
  Clock::time_point last_ = Clock::now();
  Clock::duration lastProcessorTime_ = ProcessorTime();
  Clock::duration longestTurn_{};
  Clock::duration longestBusy_{};
};

}  // namespace quillet::bench
