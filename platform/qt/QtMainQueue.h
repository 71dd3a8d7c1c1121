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
/// Work runs in slices of a few milliseconds, one slice per turn of the loop, so that painting
/// and input keep their turns however much is queued. Work that runs a loop of its own (a modal
/// dialog) holds up what is queued behind it until it returns, as on any serial queue.
///
/// Create and destroy it on the main thread, while a QCoreApplication exists. It may also never
/// be destroyed: other threads may call Async as long as the process lives. Once the main loop
/// has ended, queued work is dropped without being run.
class QtMainQueue final : public MainQueue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;
  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;

  /// See MainQueue. Any thread; costs a lock, and a one-byte write when the queue was idle. It
  /// enters no function of Qt, and so depends on nothing that ends with the application object.
  void Async(std::function<void()> work) override;

 private:
  using Entries = std::deque<std::function<void()>>;

  void HearWakeUp();
  void RunSlice();
  bool TakeQueued();
  void Close();

  std::mutex mutex_;         // guards the next three
  Entries queued_;           // what Async has added since the last TakeQueued
  bool wakeUpSent_ = false;  // from the first entry until the queue has been seen empty
  bool closed_ = false;      // the main loop has ended

  UniqueFd wakeUpWriter_;  // pipe: one byte wakes the main loop
  UniqueFd wakeUpReader_;

  // Main thread only.
  Entries running_;  // taken from queued_, next to run first
  QTimer sliceTimer_;
  QSocketNotifier wakeUp_;
};

}  // namespace quillet::platform::qt
