#pragma once

#include <chrono>
#include <functional>

namespace quillet::platform {

/// Calls an action at a steady pace. Main thread only.
class Ticker {
 public:
  virtual ~Ticker() = default;

  /// Calls `action` about every `period` until Stop. A second start replaces period and action.
  virtual void Start(std::chrono::milliseconds period, std::function<void()> action) = 0;

  /// Ends the calls. Allowed inside the action.
  virtual void Stop() = 0;
};

}  // namespace quillet::platform
