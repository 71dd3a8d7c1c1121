#pragma once

#include <deque>
#include <functional>

#include "base/ThreadHandle.h"
#include "platform/MainQueue.h"

namespace quillet {

/// Runs jobs on a background thread, one at a time, in the order in which they were added. Must
/// outlive its jobs. Main thread only.
class BackgroundWork {
 public:
  /// A job for the background thread. It returns a function, which is then called on the main
  /// thread.
  using Job = std::function<std::function<void()>()>;

  /// @param queue     the main queue; must outlive this object
  /// @param showBusy  called with true when a job starts, and with false after the last job
  BackgroundWork(platform::MainQueue& queue, std::function<void(bool busy)> showBusy);

  /// Adds a job. If the system cannot start a thread, the job runs before Add returns.
  void Add(Job job);

 private:
  void StartNext();

  platform::MainQueue& queue_;
  const std::function<void(bool busy)> showBusy_;
  std::deque<Job> jobs_;
  ThreadHandle thread_;
};

}  // namespace quillet
