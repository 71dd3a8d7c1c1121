#pragma once

#include <cstdint>
#include <string_view>

namespace quillet {

/// Returns the name of a symbology, or "Unknown".
/// @param code      symbology code; for older scanners, the result of RemapOlderCode
/// @param bTavo300  whether the code is from a 300-series scanner, which uses different codes
std::string_view SymbologyName(std::int32_t code, bool bTavo300);

/// Maps the codes 20 and 21 of older scanners to 10 and 11. Returns other codes unchanged.
std::int32_t RemapOlderCode(std::int32_t code);

}  // namespace quillet
