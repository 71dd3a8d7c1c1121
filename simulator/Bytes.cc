#include "simulator/Bytes.h"

#include <stdexcept>

namespace quillet::simulator {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

bool IsPrintable(std::uint8_t byte) {
  return byte >= 0x20 && byte < 0x7F;
}

/// The byte of the escape that begins at text[at] with a backslash; moves `at` to its last char.
std::uint8_t ReadEscape(std::string_view text, std::size_t& at) {
  const char kind = at + 1 < text.size() ? text[at + 1] : '\0';
  at += 1;
  switch (kind) {
    case '\\':
      return '\\';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case 'x':
      break;
    default:
      throw std::invalid_argument(
          "a backslash must be followed by x and two digits, \\, n, r or t");
  }
  const int high = at + 1 < text.size() ? HexDigitValue(text[at + 1]) : -1;
  const int low = at + 2 < text.size() ? HexDigitValue(text[at + 2]) : -1;
  if (high < 0 || low < 0) {
    throw std::invalid_argument("\\x must be followed by two hexadecimal digits");
  }
  at += 2;
  return static_cast<std::uint8_t>(high * 16 + low);
}

}  // namespace

Bytes ToBytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

void Append(Bytes& bytes, const Bytes& tail) {
  bytes.insert(bytes.end(), tail.begin(), tail.end());
}

void AppendBigEndian(Bytes& bytes, std::uint32_t value, int size) {
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>((value >> shift) & 0xFF));
  }
}

std::string ToHex(const Bytes& bytes) {
  std::string text;
  text.reserve(bytes.size() * 3);
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 15];
  }
  return text;
}

std::string ToReadable(const Bytes& bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += IsPrintable(byte) ? static_cast<char>(byte) : '.';
  }
  return text;
}

std::string DescribeByte(std::uint8_t byte) {
  std::string text = "0x" + ToHex({byte});
  if (IsPrintable(byte)) {
    text += " '";
    text += static_cast<char>(byte);
    text += "'";
  }
  return text;
}

int HexDigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

Bytes Unescape(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\\') {
      bytes.push_back(ReadEscape(text, at));
    } else {
      bytes.push_back(static_cast<std::uint8_t>(text[at]));
    }
  }
  return bytes;
}

}  // namespace quillet::simulator
