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

/// A number to be logged in lower-case hexadecimal.
struct Hex {
  std::uint32_t value;  ///< the number
};

/// Text from outside the program, to be logged with its control characters made visible (a carriage
/// return as `\r`, others as `\x1b` and the like), so that nothing that arrives can act on the
/// terminal of whoever reads the log.
struct ForeignText {
  /// A text, which must outlive this object.
  explicit ForeignText(std::string_view t) : text(t) {}

  /// Received bytes as text: up to their first NUL, at most `length` of them.
  ForeignText(const std::uint8_t* bytes, std::size_t length)
      : text(reinterpret_cast<const char*>(bytes), length) {
    text = text.substr(0, text.find('\0'));
  }

  std::string_view text;  ///< as it came
};

namespace log_detail {

void Append(std::string& line, const ForeignText& piece);

inline void Append(std::string& line, std::string_view piece) {
  line.append(piece);
}

template <class Number>
requires std::is_integral_v<Number>
void Append(std::string& line, Number piece) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, piece);
  line.append(digits, end.ptr);
}

inline void Append(std::string& line, Hex piece) {
  char digits[16];
  const auto end = std::to_chars(digits, digits + sizeof digits, piece.value, 16);
  line.append(digits, end.ptr);
}

/// The most characters of a piece whose length is known to the compiler, a literal or a number; 0
/// for any other. An array of characters is taken for a literal, with all that it holds: text in a
/// buffer is handed over as a string_view.
template <class Piece>
inline constexpr std::size_t kMost = std::is_integral_v<Piece> ? 20 : 0;
template <>
inline constexpr std::size_t kMost<Hex> = 8;
template <std::size_t Size>
inline constexpr std::size_t kMost<char[Size]> = Size;

// Put a piece at a place with room for it; each returns where it ends.

template <std::size_t Size>
char* Put(char* place, const char (&piece)[Size]) {
  std::memcpy(place, piece, Size);
  return place + Size - 1;
}

template <class Number>
requires std::is_integral_v<Number>
char* Put(char* place, Number piece) {
  return std::to_chars(place, place + kMost<Number>, piece).ptr;
}

inline char* Put(char* place, Hex piece) {
  return std::to_chars(place, place + kMost<Hex>, piece.value, 16).ptr;
}

/// The calling thread's line buffer, empty.
std::string& EmptyLine();

/// Gives back the memory of an exceptionally long line.
void Trim(std::string& line);

}  // namespace log_detail

/// Writes one line made of the given pieces to the system log. Any thread.
template <class... Pieces>
void Log(SystemLog& log, const Pieces&... pieces) {
  using namespace log_detail;
  if constexpr (((kMost < Pieces >> 0) && ...)) {
    // Every record has such lines; they are made in half the time without a string.
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
