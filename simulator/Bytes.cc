#include "simulator/Bytes.h"

namespace quillet::simulator {

void AppendBigEndian(Bytes& bytes, std::size_t value, int size) {
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>((value >> shift) & 0xFF));
  }
}

std::string ToHex(const Bytes& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 3);
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string ToReadable(const Bytes& bytes) {
  std::string text(bytes.begin(), bytes.end());
  for (char& letter : text) {
    if (letter < 0x20 || letter > 0x7E) letter = '.';
  }
  return text;
}

}  // namespace quillet::simulator
