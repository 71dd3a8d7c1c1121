#pragma once

#include <cstdint>
#include <span>

namespace quillet {

/// Returns the byte at `index`, or 0 if `index` is outside the buffer. Indices are computed from
/// lengths that the scanner sent, which may be wrong.
inline std::uint8_t ByteAt(std::span<const std::uint8_t> buffer, std::int32_t index) {
  return static_cast<std::uint32_t>(index) < buffer.size() ? buffer[static_cast<std::size_t>(index)]
                                                           : std::uint8_t{0};
}

/// Returns the big-endian number in `count` (0 to 4) bytes from index `start`.
inline std::uint32_t NumberAt(std::span<const std::uint8_t> buffer, std::int32_t start,
                              std::int32_t count) {
  std::uint32_t value = 0;
  for (std::int32_t i = 0; i < count; ++i) value = value << 8 | ByteAt(buffer, start + i);
  return value;
}

}  // namespace quillet
