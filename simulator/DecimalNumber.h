#pragma once

#include <optional>
#include <string_view>

namespace quillet::simulator {

/// Reads a number with or without decimals, with a point whatever the user's language is. The whole
/// text has to be one. (std::from_chars does not read such numbers on macOS.)
/// @return nothing when the text is not a finite number of zero or more
std::optional<double> ReadDecimalNumber(std::string_view text);

}  // namespace quillet::simulator
