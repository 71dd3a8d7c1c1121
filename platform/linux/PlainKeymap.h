#pragma once

#include <cstdint>
#include <string>

namespace quillet::platform::linux_desktop {

/// A keymap for virtual keyboards. Each ASCII character, Tab and Return have a key that types them
/// without a modifier. Characters that need no Shift on a US keyboard are on the same keys as
/// there, because some programs recognize shortcuts by the key code. Control is the left Control
/// key.

/// Returns the keymap in the text format of XKB version 1 (libxkbcommon,
/// XKB_KEYMAP_FORMAT_TEXT_V1). It includes the types "complete" and the compatibility map
/// "complete" of the system.
std::string PlainKeymap();

/// Returns the evdev code of the character's key in the keymap, or 0 if it has none. A line feed
/// has the Return key.
std::uint16_t PlainKeyCode(char character);

}  // namespace quillet::platform::linux_desktop
