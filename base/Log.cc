#include "base/Log.h"

#include "base/Utf8.h"

namespace quillet::log_detail {
namespace {

// Line buffers with a larger capacity are freed after use. Most lines are much shorter.
constexpr std::size_t kKeptCapacity = std::size_t{64} * 1024;

// Returns true if a UTF-8 character is invisible but changes how the text around it is displayed:
// zero-width characters and direction marks (U+061C, U+200B to U+200F, U+202A to U+202E, U+2060 to
// U+206F, U+FEFF), line and paragraph separators (U+2028, U+2029).
bool RearrangesText(std::string_view character) {
  if (character.empty()) return false;
  const auto last = static_cast<unsigned char>(character.back());
  if (character.starts_with("\xE2\x80"))
    return (last >= 0x8B && last <= 0x8F) || (last >= 0xA8 && last <= 0xAE);
  if (character.starts_with("\xE2\x81")) return last >= 0xA0 && last <= 0xAF;
  return character == "\xD8\x9C" || character == "\xEF\xBB\xBF";
}

// Length in bytes of the character at the start of `text`, or 0 if the character must be escaped.
// Invalid UTF-8, control characters (including U+0080 to U+009F) and characters that rearrange text
// must be escaped.
std::size_t PrintableLength(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  if (byte < 0x80) return byte >= 0x20 && byte != 0x7F ? 1 : 0;
  const std::size_t length = Utf8SequenceLength(text);
  const bool control = byte == 0xC2 && length == 2 && static_cast<unsigned char>(text[1]) < 0xA0;
  return control || RearrangesText(text.substr(0, length)) ? 0 : length;
}

void AppendEscaped(std::string& line, char character) {
  constexpr char kDigits[] = "0123456789abcdef";
  if (character == '\r') {
    line.append("\\r");
  } else if (character == '\n') {
    line.append("\\n");
  } else if (character == '\t') {
    line.append("\\t");
  } else {
    const auto byte = static_cast<unsigned char>(character);
    const char escaped[] = {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    line.append(escaped, sizeof escaped);
  }
}

}  // namespace

void Append(std::string& line, const ForeignText& piece) {
  const std::string_view text = piece.text;
  std::size_t plain = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = PrintableLength(text.substr(at));
    if (length != 0) {
      at += length;
      continue;
    }
    line.append(text.substr(plain, at - plain));
    AppendEscaped(line, text[at]);
    plain = ++at;
  }
  line.append(text.substr(plain));
}

std::string& EmptyLine() {
  thread_local std::string line;
  line.clear();
  return line;
}

void Trim(std::string& line) {
  if (line.capacity() > kKeptCapacity) std::string().swap(line);
}

}  // namespace quillet::log_detail
