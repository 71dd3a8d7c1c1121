#pragma once

#include <string>

namespace quillet::platform::linux_desktop {

/// Returns the input method, "IBus" or "Fcitx", to which the Qt program with the focus on the X
/// server passes its keys. Returns an empty text for other programs and for those of other users.
/// Any thread.
///
/// Qt's input method plugins pass each key on without waiting for the reply, and handle the key
/// when its reply has arrived. On a busy computer, keys can therefore be handled in the wrong
/// order, even if the engine is only a keyboard layout. GTK programs keep the order.
std::string QtInputMethodInFocus();

}  // namespace quillet::platform::linux_desktop
