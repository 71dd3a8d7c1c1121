#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::simulator {

/// Bytes as sent or received, in order.
using Bytes = std::vector<std::uint8_t>;

/// Converts text to bytes.
inline Bytes ToBytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

/// Appends `tail` to `bytes`.
inline void Append(Bytes& bytes, const Bytes& tail) {
  bytes.insert(bytes.end(), tail.begin(), tail.end());
}

/// Appends the low `size` bytes (1 to 4) of `value`, most significant byte first.
void AppendBigEndian(Bytes& bytes, std::size_t value, int size);

/// Formats bytes as lower-case hexadecimal digits, for example "57 00 40".
std::string ToHex(const Bytes& bytes);

/// Replaces every byte that is not printable ASCII with a dot.
std::string ToReadable(const Bytes& bytes);

}  // namespace quillet::simulator
