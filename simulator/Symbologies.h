#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// The symbologies that the scanner's own documentation would list, by the number that the model
/// stores in a record. Only for people who write records down and for the generator: the scanner
/// itself does not look at the numbers.

/// The code for a name, or nothing. Upper and lower case, blanks, hyphens, dots and slashes make no
/// difference: "EAN-13", "ean13" and "EAN 13" are the same.
std::optional<std::uint8_t> SymbologyCode(Model model, std::string_view name);

/// The symbology byte that a person wrote: a name, or the byte's value 0 to 255 in decimal or,
/// behind 0x, hexadecimal. Throws std::invalid_argument, in words for its writer, for anything
/// else.
std::uint8_t ParseSymbologyByte(Model model, std::string_view text);

/// The name for a code 0 to 63, or "" when the model has no symbology of that number.
std::string_view SymbologyName(Model model, std::uint8_t code);

}  // namespace quillet::simulator
