#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::simulator {

/// Bytes on the line, in order.
using Bytes = std::vector<std::uint8_t>;

/// The bytes of a text, one per char.
Bytes ToBytes(std::string_view text);

/// Appends `tail` to `bytes`.
void Append(Bytes& bytes, const Bytes& tail);

/// Appends the `size` (1 to 4) low bytes of `value`, most significant first.
void AppendBigEndian(Bytes& bytes, std::size_t value, int size);

/// Two lower-case hexadecimal digits per byte, separated by blanks: "57 00 40".
std::string ToHex(const Bytes& bytes);

/// Printable ASCII unchanged, every other byte as a dot.
std::string ToReadable(const Bytes& bytes);

}  // namespace quillet::simulator
