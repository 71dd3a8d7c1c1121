#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillet {

/// Returns the length in bytes of the printable character at the start of `text`, or 0 if the
/// character is not printable: invalid UTF-8, a control character (U+0000 to U+001F, U+007F to
/// U+009F), or an invisible character that changes how the text around it is displayed.
///
/// The invisible characters are zero-width characters and direction marks (U+061C, U+200B to
/// U+200F, U+202A to U+202E, U+2060 to U+206F, U+FEFF), and line and paragraph separators (U+2028,
/// U+2029).
/// @param text  UTF-8, not empty
std::size_t PrintableLength(std::string_view text);

/// Returns `text` for a title, list or message: each character that is not printable is replaced
/// with U+FFFD. Text from a scanner, a file or a file name therefore cannot reorder or hide the
/// text around it.
/// @param text  one line of UTF-8
std::string ShownText(std::string_view text);

}  // namespace quillet
