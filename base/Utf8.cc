#include "base/Utf8.h"

#include <cstdint>

namespace quillet {
namespace {

std::uint8_t Byte(std::string_view text, std::size_t index) {
  return static_cast<std::uint8_t>(text[index]);
}

}  // namespace

bool IsAscii(std::string_view bytes) {
  // Without an early end, so that the compiler looks at many bytes at a time.
  std::uint8_t any = 0;
  for (const char c : bytes) any |= static_cast<std::uint8_t>(c);
  return any < 0x80;
}

std::size_t Utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::uint8_t lead = Byte(text, 0);
  if (lead < 0x80) return 1;
  std::size_t length = 0;
  // The narrowed ranges of the second byte shut out overlong forms, surrogates and what lies
  // beyond U+10FFFF.
  std::uint8_t low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  }
  if (length == 0 || text.size() < length) return 0;
  if (Byte(text, 1) < low || Byte(text, 1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((Byte(text, i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

bool IsValidUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = Utf8SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string_view Utf8Prefix(std::string_view text, std::size_t limit) {
  constexpr std::size_t kLongestTail = 3;  // continuation bytes of the longest sequence
  if (text.size() <= limit) return text;
  const auto continues = [&](std::size_t at) { return (Byte(text, at) & 0xC0) == 0x80; };
  std::size_t end = limit;
  while (end > 0 && limit - end < kLongestTail && continues(end)) --end;
  return text.substr(0, continues(end) ? limit : end);
}

}  // namespace quillet
