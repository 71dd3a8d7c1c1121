#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quillet {

/// The bits of a symbology byte that hold the code.
inline constexpr std::int32_t kCodeMask = 0x3F;

/// The byte at a position, 0 outside the buffer: positions are computed from lengths that the
/// scanner sent.
inline std::uint8_t ByteAt(std::span<const std::uint8_t> buffer, std::int32_t index) {
  return static_cast<std::uint32_t>(index) < buffer.size() ? buffer[static_cast<std::size_t>(index)]
                                                           : std::uint8_t{0};
}

/// Two bytes, most significant first.
inline std::uint16_t TwoBytesAt(std::span<const std::uint8_t> buffer, std::int32_t index) {
  return static_cast<std::uint16_t>(ByteAt(buffer, index) << 8 | ByteAt(buffer, index + 1));
}

}  // namespace quillet
