#pragma once

#include <cstdint>

namespace quillet {

/// The key that types a character on a US keyboard: bits 0 to 6 are the virtual key code.
using KeyValue = std::uint16_t;

inline constexpr KeyValue kShiftBit = 0x80;  ///< the key is pressed with Shift
inline constexpr KeyValue kKeyCodeMask = 0x7F;
inline constexpr KeyValue kNoKey = 0x00FF;  ///< no key types this character

/// The key for a UTF-16 character. The characters that stand in both tables (line feed, tab, space)
/// come without Shift. A carriage return has no key: a record's line end types one Return at most.
KeyValue KeyForCharacter(char16_t character);

}  // namespace quillet
