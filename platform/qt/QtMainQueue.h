#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <deque>
#include <functional>
#include <mutex>

#include "base/UniqueFd.h"
#include "platform/MainQueue.h"

namespace quillet::platform::qt {

/// The main thread's serial queue on Qt's main loop.
///
/// Work runs in slices of 5 ms, one slice per iteration of the main loop, so that painting and
/// input continue while a lot of work is queued. Work that runs a modal dialog delays the work
/// queued after it.
///
/// Create and destroy the queue on the main thread while a QCoreApplication exists. Destroying it
/// is optional: other threads may call Async until the process exits. After the main loop has
/// ended, queued work is dropped.
class QtMainQueue final : public MainQueue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;

  /// See MainQueue. Any thread. Calls no Qt function, so it also works after the application object
  /// has been destroyed.
  void Async(std::function<void()> work) override;

 private:
  using Entries = std::deque<std::function<void()>>;

  void HandleWakeUp();
  void RunSlice();
  bool TakeQueued();
  void Close();

  std::mutex mutex_;         // guards queued_, wakeUpSent_ and closed_
  Entries queued_;           // work added since TakeQueued last refilled running_
  bool wakeUpSent_ = false;  // true from a wake-up until TakeQueued finds queued_ empty
  bool closed_ = false;      // the main loop has ended

  UniqueFd wakeUpWriter_;  // pipe: one byte wakes the main loop
  UniqueFd wakeUpReader_;

  // Main thread only.
  Entries running_;  // taken from queued_; the first entry runs next
  QTimer sliceTimer_;
  QSocketNotifier wakeUp_;
};

}  // namespace quillet::platform::qt
