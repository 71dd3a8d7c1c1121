#pragma once

#include <cstdint>

namespace quillet {

/// A key on a US keyboard: its virtual key code in bits 0 to 6, plus kShiftBit if Shift is pressed.
using KeyValue = std::uint16_t;

inline constexpr KeyValue kShiftBit = 0x80;  ///< the key is pressed with Shift
inline constexpr KeyValue kKeyCodeMask = 0x7F;
inline constexpr KeyValue kNoKey = 0x00FF;  ///< the character has no key

/// Returns the key for a UTF-16 character, or kNoKey. Line feed, tab and space need no Shift. A
/// carriage return has no key, so that CR LF presses Return only once.
KeyValue KeyForCharacter(char16_t character);

/// Returns the ASCII character that a key types, or NUL if the key types none.
char CharacterOfKey(KeyValue key);

}  // namespace quillet
