#pragma once

#include <functional>

namespace quillet::platform {

/// The serial queue of the main thread.
class MainQueue {
 public:
  virtual ~MainQueue() = default;

  /// Queues `work` to run on the main thread, after everything queued before, and returns at
  /// once. Any thread, the main thread included; never runs `work` inside the call. Work that is
  /// still queued when the main loop has ended is never run.
  virtual void Async(std::function<void()> work) = 0;
};

}  // namespace quillet::platform
