#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

// The numbers that each model stores for a symbology. Only for people who write records down and
// for the generator: the scanner itself does not interpret the numbers.

/// The code for a name, or nothing. Only letters and digits count, in either case: "EAN-13",
/// "ean13" and "EAN 13" are the same.
std::optional<std::uint8_t> SymbologyCode(Model model, std::string_view name);

/// The name for a code 0 to 63, or "" if the model has no symbology with this number.
std::string_view SymbologyName(Model model, std::uint8_t code);

}  // namespace quillet::simulator
