#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string_view>

#include "base/TextBacklog.h"
#include "platform/Controls.h"
#include "platform/MainQueue.h"

namespace quillet {

/// Appends text to the main view. Text and changes to other controls take effect in call order.
///
/// All text between two changes to other controls shares one entry in the main queue. If the main
/// thread cannot keep up, the oldest queued records are dropped (see TextBacklog).
class MainView {
 public:
  /// @param queue  must outlive this object
  /// @param view   must outlive this object
  MainView(platform::MainQueue& queue, platform::TextView& view) : queue_(queue), view_(view) {}

  /// Queues text for the view, which then scrolls to its end. Any thread; returns immediately.
  /// @param text  UTF-8; only LF ends a line
  /// @param kind  whether the text may be dropped
  void Append(std::string_view text, TextKind kind);

  /// Queues a change to any control other than the view. Any thread; returns immediately.
  void Post(std::function<void()> change);

  /// Sets the action to call when records are dropped or removed from the view. The action is
  /// called at most once until the next Clear or ReportNextRemoval. Main thread.
  void OnRecordsRemoved(std::function<void()> action);
  void ReportNextRemoval();  ///< see OnRecordsRemoved; any thread

  /// Empties the view. Text that is still queued appears later. Main thread.
  void Clear();

 private:
  void Show(const std::shared_ptr<TextBacklog>& texts);
  void ReportRemoval();

  platform::MainQueue& queue_;
  platform::TextView& view_;
  std::mutex mutex_;                   // guards open_ and the order of the queue entries
  std::shared_ptr<TextBacklog> open_;  // the queue's last entry, if it is a backlog; else null

  // Main thread only.
  std::function<void()> action_;
  bool isRemovalReported_ = false;
};

}  // namespace quillet
