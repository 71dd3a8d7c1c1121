#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::simulator {

/// What travels on the line: bytes, in order.
using Bytes = std::vector<std::uint8_t>;

/// The bytes of a text, one per char, nothing added.
Bytes ToBytes(std::string_view text);

/// Appends `tail` to `bytes`.
void Append(Bytes& bytes, const Bytes& tail);

/// Appends the `size` (1 to 4) low bytes of `value`, most significant first.
void AppendBigEndian(Bytes& bytes, std::uint32_t value, int size);

/// Two lower-case hexadecimal digits per byte, separated by blanks: "57 00 40".
std::string ToHex(const Bytes& bytes);

/// The bytes as text a person can read: printable ASCII as it is, everything else as a dot.
std::string ToReadable(const Bytes& bytes);

/// A byte for a message: "0x57 'W'", or "0x03" when it is not printable.
std::string DescribeByte(std::uint8_t byte);

/// The value 0 to 15 of a hexadecimal digit of either case, or -1.
int HexDigitValue(char digit);

/// Text with \xNN for any byte, \\ for a backslash, \n, \r, \t; everything else as it is.
/// Throws std::invalid_argument, with a message for people, for an escape that is none of these.
Bytes Unescape(std::string_view text);

}  // namespace quillet::simulator
