#include "download/RecordText.h"

#include <cstdint>

#include "base/Utf8.h"

namespace quillet {

void DecodeRecordText(std::string_view bytes, std::string& text) {
  if (IsAscii(bytes) || IsValidUtf8(bytes)) {
    text.assign(bytes);
    return;
  }
  text.clear();
  for (const char character : bytes) {
    const auto byte = static_cast<std::uint8_t>(character);
    if (byte < 0x80) {
      text.push_back(character);
    } else {
      text.push_back(static_cast<char>(0xC0 | byte >> 6));
      text.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
}

}  // namespace quillet
