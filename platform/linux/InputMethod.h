#pragma once

#include <chrono>
#include <string>

namespace quillet::platform::linux_desktop {

/// Longest time that ActiveInputMethod waits for a reply from an input method.
inline constexpr std::chrono::milliseconds kInputMethodLimit{200};

/// Returns the names of the active engine and its input method, such as "libpinyin (IBus)". An
/// engine converts keys to other text. Supports IBus and Fcitx 5, but does not start them.
///
/// Finds IBus as its clients do: through the variable IBUS_ADDRESS, or through the file that
/// ibus-daemon(1) writes for each display.
/// @return empty if no input method is running, if it does not reply in time, or if its engine is a
///         keyboard layout. Any thread.
std::string ActiveInputMethod();

}  // namespace quillet::platform::linux_desktop
