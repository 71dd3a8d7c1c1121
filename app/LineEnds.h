#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Returns `text` with every line end (CR LF, CR or LF) replaced by LF. Keeps no state between
/// calls: a CR at the end of one text and an LF at the start of the next are two line ends.
std::string FoldLineEnds(std::string_view text);

}  // namespace quillet
