#pragma once

#include <chrono>
#include <functional>

namespace quillet::platform {

/// Something that calls at a steady pace. Main thread only.
class Ticker {
 public:
  /// A reading of a clock that never goes back; only differences mean something.
  using Time = std::chrono::milliseconds;

  virtual ~Ticker() = default;

  /// Calls `action` about every `period` until Stop. Starting again replaces what was called.
  virtual void Start(std::chrono::milliseconds period, std::function<void(Time now)> action) = 0;

  /// Calls no more. May be used inside the action.
  virtual void Stop() = 0;
};

}  // namespace quillet::platform
