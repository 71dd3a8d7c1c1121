#pragma once

#include <functional>

namespace quillet::platform::qt {

// X11 clipboard functions that Qt does not provide. Main thread, while a QApplication exists.

/// Returns true if Qt owns the clipboard. Also returns true without X11, because Qt then does not
/// report the owner.
bool OwnsClipboard();

/// Calls `action` on the main loop after Qt has handled an event whose time stamp is the X server's
/// current time.
/// When Qt claims the clipboard, it uses the time of its latest event. Calls `action` immediately
/// if Qt does not use X11 or already owns the clipboard.
void AfterCurrentTime(std::function<void()> action);

/// Calls `action` once, when the program with focus requests the clipboard's contents from Qt. A
/// request for the list of formats does not count. Replaces the previous action, which is
/// destroyed. If Qt does not use X11, destroys `action` instead.
/// @param action  null: only removes the previous action
void OnClipboardRead(std::function<void()> action);

/// See QtPasteboard::Keep.
void SaveClipboard();

}  // namespace quillet::platform::qt
