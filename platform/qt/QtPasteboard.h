#pragma once

#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"

namespace quillet::platform::qt {

/// The clipboard, through Qt. Qt allows only the main thread to use it.
///
/// A call from another thread waits until the main thread has set the text, for at most two
/// seconds. If the main queue drops the work, the wait ends at once. After a failure the text is
/// never set.
///
/// On X11, a text counts as set when the program owns the clipboard. The X server refuses a request
/// whose time stamp is earlier than that of the current owner (ICCCM, 2.1). Before a call from
/// another thread sets the text, Quillet therefore sends Qt an event with the current time.
class QtPasteboard final : public Pasteboard {
 public:
  /// @param queue  the main thread's queue; it outlives this object
  explicit QtPasteboard(MainQueue& queue) : queue_(queue) {}

  bool SetString(std::string_view text) override;

  /// On X11, passes the contents to the clipboard manager, if one is running (freedesktop.org,
  /// ClipboardManager). Runs the main loop without user input, for at most one second.
  void Keep() override;

 private:
  MainQueue& queue_;
};

}  // namespace quillet::platform::qt
