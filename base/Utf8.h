#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillet {

/// Byte-order mark of UTF-8 files.
inline constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

/// Appends a character in UTF-8.
/// @param text  the text to extend
/// @param code  a Unicode scalar value: at most U+10FFFF, not a surrogate
void AppendUtf8(std::string& text, char32_t code);

/// Returns the length in bytes of the UTF-8 sequence at the start of `text`, or 0 if it is invalid.
/// Overlong forms, surrogates and values above U+10FFFF are invalid (RFC 3629, section 3).
std::size_t Utf8SequenceLength(std::string_view text);

/// Returns true if the whole text is valid UTF-8.
bool IsValidUtf8(std::string_view text);

/// Returns the longest prefix of `text` of at most `limit` bytes that does not end inside a UTF-8
/// sequence. Invalid UTF-8 may be cut anywhere.
std::string_view Utf8Prefix(std::string_view text, std::size_t limit);

/// Returns true if all bytes are 7-bit ASCII.
bool IsAscii(std::string_view bytes);

}  // namespace quillet
