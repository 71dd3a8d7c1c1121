#pragma once

#include <string>

namespace quillet::platform::linux_desktop {

/// Returns the input method, "IBus" or "Fcitx", of the program that has the X input focus. Returns
/// an empty string if that program does not use Qt or belongs to another user. Any thread.
///
/// Qt's input method plugins send each key to the input method without waiting for the reply, and
/// handle the key when the reply arrives. On a busy computer, keys can therefore be handled in the
/// wrong order, even if the engine is only a keyboard layout. GTK programs keep the order.
std::string QtInputMethodInFocus();

}  // namespace quillet::platform::linux_desktop
