#pragma once

#include <cstdint>
#include <string>

namespace quillet::platform::linux_desktop {

/// A keymap for virtual keyboards. Each ASCII character, Tab and Return has a key that types it
/// without a modifier. Characters that need no Shift on a US keyboard keep their US keys, because
/// some programs recognize shortcuts by the key code. Control is the left Control key.

/// Returns the keymap in the text format of XKB version 1 (libxkbcommon,
/// XKB_KEYMAP_FORMAT_TEXT_V1). It includes the key types and the compatibility map named "complete"
/// from the system's XKB data.
std::string PlainKeymap();

/// Returns the evdev code of the key that types `character` in the keymap, or 0 if there is none.
/// For a line feed, returns the code of the Return key.
std::uint16_t PlainKeyCode(char character);

}  // namespace quillet::platform::linux_desktop
