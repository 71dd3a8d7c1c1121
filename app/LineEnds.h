#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Turns every line end of one text into a line feed: a carriage return with a line feed behind it
/// is one line end, either of them alone is one too. A text is folded by itself: a carriage return
/// at the end of one text and a line feed at the start of the next are two line ends.
std::string FoldLineEnds(std::string_view text);

}  // namespace quillet
