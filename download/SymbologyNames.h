#pragma once

#include <cstdint>
#include <string_view>

namespace quillet {

/// The name of a symbology.
/// @param code       symbology code; on the older layout after its remapping
/// @param bTavo300   whether the scanner is of the 300 series, which has a table of its own
/// @return the name; "Unknown" for a code that no table holds.
std::string_view SymbologyName(std::int32_t code, bool bTavo300);

/// The code under which the older table holds a symbology that the scanner reports with a later
/// code: 20 becomes 10 and 21 becomes 11.
std::int32_t RemapOlderCode(std::int32_t code);

}  // namespace quillet
