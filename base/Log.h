#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/SystemLog.h"

namespace quillet {

/// A number to log in lower-case hexadecimal.
struct Hex {
  std::uint32_t value;  ///< the number
};

/// Text from outside the program. It is logged with its control characters escaped (`\r`, `\x1b`),
/// so that received data cannot control the terminal that displays the log.
struct ForeignText {
  /// @param t  the text, which must outlive this object
  explicit ForeignText(std::string_view t) : text(t) {}

  /// Treats received bytes as text, which ends at the first NUL or after `length` bytes.
  ForeignText(const std::uint8_t* bytes, std::size_t length)
      : text(reinterpret_cast<const char*>(bytes), length) {
    text = text.substr(0, text.find('\0'));
  }

  std::string_view text;  ///< the text, not escaped
};

namespace log_detail {

/// Maximum length in bytes of a piece of a log line; 0 if it is not known at compile time. Every
/// char array counts as a string literal, so pass text in a buffer as a string_view.
template <class Piece>
inline constexpr std::size_t kMost = std::is_integral_v<Piece> ? 20 : 0;
template <>
inline constexpr std::size_t kMost<Hex> = 8;
template <std::size_t Size>
inline constexpr std::size_t kMost<char[Size]> = Size;

// Each Put function writes a piece to a buffer of at least kMost<Piece> bytes and returns a pointer
// to the end of the written text.

template <std::size_t Size>
char* Put(char* buffer, const char (&piece)[Size]) {
  std::memcpy(buffer, piece, Size);
  return buffer + Size - 1;
}

template <class Number>
requires std::is_integral_v<Number>
char* Put(char* buffer, Number piece) {
  return std::to_chars(buffer, buffer + kMost<Number>, piece).ptr;
}

inline char* Put(char* buffer, Hex piece) {
  return std::to_chars(buffer, buffer + kMost<Hex>, piece.value, 16).ptr;
}

void Append(std::string& line, const ForeignText& piece);

inline void Append(std::string& line, std::string_view piece) {
  line.append(piece);
}

template <class Number>
requires(std::is_integral_v<Number> || std::is_same_v<Number, Hex>) void Append(std::string& line,
                                                                                Number piece) {
  char text[kMost<Number>];
  line.append(text, Put(text, piece));
}

/// Empties the calling thread's line buffer and returns it.
std::string& EmptyLine();

/// Frees the memory of `line` if it is exceptionally large.
void Trim(std::string& line);

}  // namespace log_detail

/// Writes one line, the concatenation of `pieces`, to the system log. Any thread.
template <class... Pieces>
void Log(SystemLog& log, const Pieces&... pieces) {
  using namespace log_detail;
  if constexpr (((kMost<Pieces> != 0) && ...)) {
    // Called for every record. The length of the line is limited, so it is built in a stack buffer,
    // which is twice as fast as a std::string.
    char line[(kMost<Pieces> + ...)];
    char* end = line;
    ((end = Put(end, pieces)), ...);
    log.Write({line, static_cast<std::size_t>(end - line)});
  } else {
    std::string& line = EmptyLine();
    (Append(line, pieces), ...);
    log.Write(line);
    Trim(line);
  }
}

}  // namespace quillet
