#pragma once

#include <chrono>
#include <string>

namespace quillet::platform::linux_desktop {

/// Time in which ActiveInputMethod waits for the reply of an input method.
inline constexpr std::chrono::milliseconds kInputMethodLimit{200};

/// Returns the engine with which an input method of this session converts keys to other text, and
/// the name of the input method, such as "libpinyin of IBus". Knows IBus and Fcitx 5. Does not
/// start them.
///
/// Finds IBus like its clients do: by the variable IBUS_ADDRESS, or by the file that ibus-daemon(1)
/// writes for each display.
/// @return empty if no input method runs, if it does not reply in time, or if its engine is a
///         keyboard layout. Any thread.
std::string ActiveInputMethod();

}  // namespace quillet::platform::linux_desktop
