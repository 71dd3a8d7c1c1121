#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillet {

/// Converts the contents of a text file to UTF-8. A byte-order mark determines the encoding, UTF-8
/// or UTF-16. Without a mark, the encoding is UTF-8 if the bytes are valid UTF-8, else Latin-1.
/// @return the text without the mark. If the bytes have a mark, invalid sequences become U+FFFD.
std::string DecodeTextFile(std::string_view bytes);

/// Returns true if the bytes begin with the byte-order mark of UTF-8 or UTF-16.
bool HasByteOrderMark(std::string_view bytes);

/// Replaces each byte that is not part of a valid UTF-8 sequence with U+FFFD.
std::string RepairUtf8(std::string_view bytes);

/// Returns the length of a valid UTF-8 string in UTF-16 code units.
std::size_t Utf16Length(std::string_view text);

}  // namespace quillet
