#pragma once

#include <chrono>
#include <functional>

namespace quillet::platform {

/// A repeating timer. Main thread only.
class Ticker {
 public:
  virtual ~Ticker() = default;

  /// Calls `action` about every `period` until Stop. A second call replaces the period and the
  /// action.
  virtual void Start(std::chrono::milliseconds period, std::function<void()> action) = 0;

  /// Stops the timer. May be called from the action.
  virtual void Stop() = 0;
};

}  // namespace quillet::platform
