#include "base/ShownText.h"

#include <algorithm>

#include "base/Utf8.h"

namespace quillet {
namespace {

bool RearrangesText(std::string_view character) {
  if (character.empty()) return false;
  const auto last = static_cast<unsigned char>(character.back());
  if (character.starts_with("\xE2\x80"))
    return (last >= 0x8B && last <= 0x8F) || (last >= 0xA8 && last <= 0xAE);
  if (character.starts_with("\xE2\x81")) return last >= 0xA0 && last <= 0xAF;
  return character == "\xD8\x9C" || character == "\xEF\xBB\xBF";
}

}  // namespace

std::size_t PrintableLength(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  if (byte < 0x80) return byte >= 0x20 && byte != 0x7F ? 1 : 0;
  const std::size_t length = Utf8SequenceLength(text);
  const bool control = byte == 0xC2 && length == 2 && static_cast<unsigned char>(text[1]) < 0xA0;
  return control || RearrangesText(text.substr(0, length)) ? 0 : length;
}

std::string ShownText(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t printable = PrintableLength(text);
    const std::size_t length = std::max({printable, Utf8SequenceLength(text), std::size_t{1}});
    shown += printable != 0 ? text.substr(0, length) : "\uFFFD";
    text.remove_prefix(length);
  }
  return shown;
}

}  // namespace quillet
