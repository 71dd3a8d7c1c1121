#include "output/TextEncoding.h"

#include <algorithm>
#include <cstdint>

#include "base/Utf8.h"
#include "download/RecordComposer.h"

namespace quillet {
namespace {

constexpr std::string_view kUtf16BigMark = "\xFE\xFF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

std::string DecodeUtf16(std::string_view bytes, bool bigEndian) {
  std::string text;
  const auto unit = [&](std::size_t index) -> char32_t {
    const auto first = static_cast<std::uint8_t>(bytes[index]);
    const auto second = static_cast<std::uint8_t>(bytes[index + 1]);
    return static_cast<char32_t>(bigEndian ? first << 8 | second : second << 8 | first);
  };
  std::size_t index = 0;
  while (index + 1 < bytes.size()) {
    const char32_t code = unit(index);
    index += 2;
    if (IsHighSurrogate(code) && index + 1 < bytes.size() && IsLowSurrogate(unit(index))) {
      AppendUtf8(text, 0x10000 + ((code - 0xD800) << 10) + (unit(index) - 0xDC00));
      index += 2;
    } else {
      AppendUtf8(text, IsHighSurrogate(code) || IsLowSurrogate(code) ? kReplacement : code);
    }
  }
  if (index < bytes.size()) AppendUtf8(text, kReplacement);
  return text;
}

}  // namespace

bool HasByteOrderMark(std::string_view bytes) {
  return bytes.starts_with(kUtf8Mark) || bytes.starts_with(kUtf16BigMark) ||
         bytes.starts_with(kUtf16LittleMark);
}

std::string DecodeTextFile(std::string_view bytes) {
  if (bytes.starts_with(kUtf8Mark)) return RepairUtf8(bytes.substr(kUtf8Mark.size()));
  if (bytes.starts_with(kUtf16BigMark)) return DecodeUtf16(bytes.substr(2), true);
  if (bytes.starts_with(kUtf16LittleMark)) return DecodeUtf16(bytes.substr(2), false);
  std::string text;
  DecodeRecordText(bytes, text);
  return text;
}

std::string RepairUtf8(std::string_view bytes) {
  if (IsValidUtf8(bytes)) return std::string(bytes);
  std::string text;
  while (!bytes.empty()) {
    const std::size_t length = Utf8SequenceLength(bytes);
    if (length == 0) AppendUtf8(text, kReplacement);
    text.append(bytes.substr(0, length));
    bytes.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return text;
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    // A sequence of four bytes becomes a surrogate pair.
    units += ((byte & 0xC0) != 0x80 ? 1U : 0U) + (byte >= 0xF0 ? 1U : 0U);
  }
  return units;
}

}  // namespace quillet
