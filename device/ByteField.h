#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillet {

/// A fixed field of NUL-terminated text that the read thread fills and other threads show. Each
/// byte is read and written whole; a reader that comes while an answer is being stored may see
/// part of the old text and part of the new one, but never anything outside the field.
template <std::size_t Size>
class ByteField {
 public:
  /// Fills the field with `text`, cut to what fits with its NUL.
  explicit ByteField(std::string_view text = {}) {
    Assign(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  }

  /// How many bytes it has, the NUL included.
  static constexpr std::size_t size() { return Size; }

  /// The byte at an index, which is not checked.
  std::uint8_t operator[](std::size_t index) const noexcept {
    return bytes_[index].load(std::memory_order_acquire);
  }

  /// Stores one byte at an index, which is not checked.
  void Put(std::size_t index, std::uint8_t byte) noexcept {
    bytes_[index].store(byte, std::memory_order_release);
  }

  /// Stores the first `count` bytes, at most as many as fit, and a NUL behind them. The bytes
  /// further back stay as they were.
  void Assign(const std::uint8_t* bytes, std::size_t count) noexcept {
    count = std::min(count, Size - 1);
    for (std::size_t i = 0; i < count; ++i) Put(i, bytes[i]);
    Put(count, 0);
  }

  /// The text from `start` up to the next NUL or the end of the field. A `start` behind the
  /// text's own NUL gives what an earlier text left there.
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

/// The first characters of a serial number that are never shown.
inline constexpr std::size_t kHiddenSerialCharacters = 4;

}  // namespace quillet
