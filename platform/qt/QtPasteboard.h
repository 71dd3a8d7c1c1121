#pragma once

#include <chrono>
#include <future>
#include <mutex>

#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"

namespace quillet::platform::qt {

/// The clipboard, accessed through Qt. Qt allows only the main thread to use it.
///
/// A call from another thread waits until the main thread has set the text, for at most two
/// seconds. If the main queue drops the work, the wait ends at once. If a call fails, its text is
/// not set later.
///
/// On X11, text counts as set when Quillet owns the clipboard. The X server refuses ownership if
/// the request's time stamp is earlier than that of the current owner (ICCCM, 2.1). Before a call
/// from another thread sets the text, Quillet therefore sends Qt an event with the current time.
///
/// On X11, a call from another thread also waits until the program with focus has read the text of
/// the previous such call, because a slow program reads the clipboard long after it receives the
/// paste keys. The wait ends no later than two seconds after the previous call. After such a
/// time-out, calls do not wait, because the program may never read the clipboard. Calls wait again
/// once a program with focus has read the clipboard.
class QtPasteboard final : public Pasteboard {
 public:
  /// @param queue        the main thread's queue; it must outlive this object
  /// @param longestRead  maximum time to wait for the program with focus to read the text
  explicit QtPasteboard(MainQueue& queue,
                        std::chrono::milliseconds longestRead = std::chrono::seconds(2))
      : queue_(queue), longestRead_(longestRead) {}

  bool SetString(std::string_view text) override;

  /// On X11, passes the contents to the clipboard manager, if one is running (freedesktop.org,
  /// ClipboardManager). Runs the main loop without user input, for at most one second.
  void Keep() override;

 private:
  void AwaitReader();

  MainQueue& queue_;
  const std::chrono::milliseconds longestRead_;

  // Held during calls from threads other than the main thread. Guards the members below.
  std::mutex setting_;
  std::future<void> read_;  // ready when the latest text has been read or replaced
  std::chrono::steady_clock::time_point set_;  // when the latest text was set
  bool readsInTime_ = true;                    // the last AwaitReader did not time out
};

}  // namespace quillet::platform::qt
