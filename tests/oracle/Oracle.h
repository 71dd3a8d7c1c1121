#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// An independent implementation that composes lines from stored records. It shares no code with
// the program.

namespace quillet::oracle {

enum class Layout { kOlder, k300Series };

/// The receive buffer. A record with a wrong length may extend past the received bytes, into bytes
/// of earlier answers. Bytes outside the buffer read as zero.
class Memory {
 public:
  explicit Memory(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

  int At(std::int64_t position) const {
    return position < 0 || position >= Size() ? 0 : bytes_[static_cast<std::size_t>(position)];
  }
  /// Returns the value of two bytes, most significant first.
  int PairAt(std::int64_t position) const { return At(position) * 256 + At(position + 1); }

  std::int64_t Size() const { return static_cast<std::int64_t>(bytes_.size()); }

  void Put(std::size_t position, std::uint8_t byte) { bytes_.at(position) = byte; }

 private:
  std::vector<std::uint8_t> bytes_;
};

/// The user's settings, and the scanner's serial number.
struct Choices {
  int typeWanted = 0;  ///< 0: omit the symbology; otherwise: include it
  int serialWanted = 0;
  int timeWanted = 0;
  std::int32_t dataDelimiter = 0;
  std::int32_t recordDelimiter = 0;
  std::int32_t serialPosition = 0;
  std::int32_t order = 0;
  std::string serialField;  ///< the whole field, including bytes after the NUL
};

struct Line {
  std::string text;               ///< the whole line, not truncated to the line buffer
  std::optional<int> loggedCode;  ///< symbology code in the log line, if any
};

/// Composes the line of the record at `start`.
Line LineOfRecord(const Memory& memory, std::int64_t start, Layout layout, const Choices& choices);

/// A record in a burst.
struct Visit {
  std::int64_t offset = 0;
  std::int64_t step = 0;  ///< bytes to the next record
  bool erased = false;    ///< the record is erased and yields no line
  bool last = false;      ///< the record is invalid, yields no line and ends the walk
};

/// Returns the records of a burst.
/// @param received  number of received bytes, including the three length bytes
std::vector<Visit> WalkBurst(const Memory& memory, std::int64_t received, Layout layout);

/// Decodes a line for display: as UTF-8 if the whole line is valid UTF-8, otherwise as Latin-1.
std::string Shown(std::string_view line);

}  // namespace quillet::oracle
