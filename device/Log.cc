#include "device/Log.h"

namespace quillet::log_detail {
namespace {

// Lines are short, but for the text of a written file; that one's memory is not worth keeping.
constexpr std::size_t kKeptCapacity = 64 * 1024;

bool IsPlain(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= 0x20 && byte != 0x7F;
}

void AppendVisibly(std::string& line, char character) {
  constexpr char kDigits[] = "0123456789abcdef";
  switch (character) {
    case '\r':
      line.append("\\r");
      break;
    case '\n':
      line.append("\\n");
      break;
    case '\t':
      line.append("\\t");
      break;
    default: {
      const auto byte = static_cast<unsigned char>(character);
      const char escaped[] = {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
      line.append(escaped, sizeof escaped);
    }
  }
}

}  // namespace

void Append(std::string& line, const ForeignText& piece) {
  const std::string_view text = piece.text;
  std::size_t plain = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsPlain(text[i])) continue;
    line.append(text.substr(plain, i - plain));
    AppendVisibly(line, text[i]);
    plain = i + 1;
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
