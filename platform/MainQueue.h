#pragma once

#include <functional>

namespace quillet::platform {

/// The serial work queue of the main thread.
class MainQueue {
 public:
  virtual ~MainQueue() = default;

  /// Queues `work` for the main thread and returns immediately. Work runs in queue order, never
  /// inside this call. Work still queued after the main loop has ended is not run. Any thread.
  virtual void Async(std::function<void()> work) = 0;
};

}  // namespace quillet::platform
