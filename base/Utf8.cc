#include "base/Utf8.h"

#include <cstdint>

namespace quillet {
namespace {

std::uint8_t Byte(std::string_view text, std::size_t index) {
  return static_cast<std::uint8_t>(text[index]);
}

}  // namespace

void AppendUtf8(std::string& text, char32_t code) {
  const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
    return;
  }
  if (code < 0x800) {
    put(0xC0 | code >> 6);
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
  }
  put(0x80 | (code & 0x3F));
}

bool IsAscii(std::string_view bytes) {
  // No early return, to allow vectorization.
  std::uint8_t any = 0;
  for (const char c : bytes) any |= static_cast<std::uint8_t>(c);
  return any < 0x80;
}

std::size_t Utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::uint8_t lead = Byte(text, 0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  std::uint8_t low = 0x80, high = 0xBF;
  if (lead == 0xE0) low = 0xA0;   // excludes overlong forms
  if (lead == 0xED) high = 0x9F;  // excludes surrogates
  if (lead == 0xF0) low = 0x90;   // excludes overlong forms
  if (lead == 0xF4) high = 0x8F;  // excludes values above U+10FFFF
  if (text.size() < length || Byte(text, 1) < low || Byte(text, 1) > high) return 0;
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
  constexpr std::size_t kLongestTail = 3;  // maximum number of continuation bytes
  if (text.size() <= limit) return text;
  const auto continues = [&](std::size_t at) { return (Byte(text, at) & 0xC0) == 0x80; };
  std::size_t end = limit;
  while (end > 0 && limit - end < kLongestTail && continues(end)) --end;
  return text.substr(0, continues(end) ? limit : end);
}

}  // namespace quillet
