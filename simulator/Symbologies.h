#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

// Symbology codes by model, for user input and generated records. The simulated scanner does not
// interpret the codes.

/// Returns the code of a symbology, if the name is known. Ignores case and all characters other
/// than letters and digits: "EAN-13", "ean13" and "EAN 13" are equal.
std::optional<std::uint8_t> SymbologyCode(Model model, std::string_view name);

/// Returns the name of a symbology code, 0 to 63, or "" if the model has no such code.
std::string_view SymbologyName(Model model, std::uint8_t code);

}  // namespace quillet::simulator
