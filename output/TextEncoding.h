#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillet {

/// Reads the bytes of a text file, detecting their encoding: UTF-8 or UTF-16 by their byte-order
/// mark (which is left out of the result), else UTF-8 when the bytes are valid UTF-8, else Latin-1.
/// @return the text in UTF-8. Ill-formed UTF-16 and UTF-8 behind a mark gives U+FFFD where it is
///         broken.
std::string DecodeTextFile(std::string_view bytes);

/// Whether a file begins with the byte-order mark of UTF-8 or UTF-16.
bool HasByteOrderMark(std::string_view bytes);

/// Makes valid UTF-8 of bytes that are meant to be UTF-8: what is broken becomes U+FFFD, one for
/// each byte that begins no valid sequence.
std::string RepairUtf8(std::string_view bytes);

/// The number of UTF-16 units that a valid UTF-8 text has.
std::size_t Utf16Length(std::string_view text);

}  // namespace quillet
