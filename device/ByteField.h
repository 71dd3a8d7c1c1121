#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillet {

/// A fixed-size field of NUL-terminated text, written by the read thread and displayed by other
/// threads. Each byte is atomic, but the whole text is not: a reader may see a mixture of the old
/// and the new text, but never reads outside the field.
template <std::size_t Size>
class ByteField {
 public:
  /// @param text  the initial text, truncated to Size - 1 bytes
  explicit ByteField(std::string_view text = {}) {
    Assign(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  }

  /// Size in bytes, including the NUL.
  static constexpr std::size_t size() { return Size; }

  /// Returns the byte at `index`. The index is not checked.
  std::uint8_t operator[](std::size_t index) const noexcept {
    return bytes_[index].load(std::memory_order_acquire);
  }

  /// Stores a byte at `index`. The index is not checked.
  void Put(std::size_t index, std::uint8_t byte) noexcept {
    bytes_[index].store(byte, std::memory_order_release);
  }

  /// Stores `count` bytes, at most Size - 1, followed by a NUL. The remaining bytes of the field
  /// keep their values.
  void Assign(const std::uint8_t* bytes, std::size_t count) noexcept {
    count = std::min(count, Size - 1);
    for (std::size_t i = 0; i < count; ++i) Put(i, bytes[i]);
    Put(count, 0);
  }

  /// Returns the text from index `start` to the next NUL or the end of the field. If `start` is
  /// after the NUL of the current text, the result is part of a previous value.
  std::string TextFrom(std::size_t start) const {
    std::string text;
    for (std::size_t i = start; i < Size; ++i) {
      const std::uint8_t byte = (*this)[i];
      if (byte == 0) break;
      text.push_back(static_cast<char>(byte));
    }
    return text;
  }

 private:
  std::array<std::atomic<std::uint8_t>, Size> bytes_{};
};

/// The scanner's serial number: ten characters and a NUL.
using SerialNumberField = ByteField<11>;

/// The number of leading characters of a serial number that are not displayed.
inline constexpr std::size_t kHiddenSerialCharacters = 4;

}  // namespace quillet
