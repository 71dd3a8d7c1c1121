#include "base/Log.h"

#include "base/ShownText.h"

namespace quillet::log_detail {
namespace {

// Maximum capacity in bytes of a line buffer that is kept for reuse. Most lines are much shorter.
constexpr std::size_t kKeptCapacity = std::size_t{64} * 1024;

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
