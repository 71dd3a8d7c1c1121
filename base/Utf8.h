#pragma once

#include <cstddef>
#include <string_view>

namespace quillet {

/// The number of bytes of the UTF-8 sequence at the start of `text`, 0 when none is valid there:
/// no overlong forms, no surrogates, nothing above U+10FFFF (RFC 3629, section 3).
std::size_t Utf8SequenceLength(std::string_view text);

/// Whether a text is valid UTF-8 throughout.
bool IsValidUtf8(std::string_view text);

/// The longest beginning of `text` that has at most `limit` bytes and does not end inside a UTF-8
/// sequence. Bytes that are not UTF-8 may be cut anywhere.
std::string_view Utf8Prefix(std::string_view text, std::size_t limit);

/// Whether every byte is 7-bit ASCII.
bool IsAscii(std::string_view bytes);

}  // namespace quillet
