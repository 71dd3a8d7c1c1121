#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A second, plain implementation of how a stored record becomes a line. It shares nothing with the
// program's, not even a header: it reads a record with arithmetic on offsets, makes whole strings,
// and knows neither cursors nor buffers.

namespace quillet::oracle {

enum class Layout { kOlder, k300Series };

/// The bytes that records stand in. A record whose length is wrong is read beyond what was
/// received: within the memory those are bytes left from before, outside it zeros.
class Memory {
 public:
  explicit Memory(std::size_t size) : bytes_(size) {}

  int At(std::int64_t position) const {
    return position < 0 || position >= static_cast<std::int64_t>(bytes_.size())
               ? 0
               : bytes_[static_cast<std::size_t>(position)];
  }
  /// Two bytes, the first the most significant.
  int PairAt(std::int64_t position) const { return At(position) * 256 + At(position + 1); }

  std::int64_t Size() const { return static_cast<std::int64_t>(bytes_.size()); }

  void Put(std::size_t position, std::uint8_t byte) { bytes_.at(position) = byte; }

 private:
  std::vector<std::uint8_t> bytes_;
};

/// What the user chose, and the scanner's serial number.
struct Choices {
  int typeWanted = 0;  ///< these three: 0 is no, anything else yes
  int serialWanted = 0;
  int timeWanted = 0;
  std::int32_t dataDelimiter = 0;
  std::int32_t recordDelimiter = 0;
  std::int32_t serialPosition = 0;
  std::int32_t order = 0;
  std::string serialField;  ///< all bytes of the field, those behind its text too
};

/// A line in three pieces, since the data alone may be cut when the line is too long.
struct Line {
  std::string front;
  std::string data;
  std::string back;
  std::optional<int> loggedCode;  ///< the code under which the symbology was looked up and logged

  std::string Whole() const { return front + data + back; }
};

/// The line of the record that begins at `start`.
Line LineOfRecord(const Memory& memory, std::int64_t start, Layout layout, const Choices& choices);

/// What the operations for single fields make, one behind the other: the symbology that stands at a
/// position, the whole serial number, and the time that stands behind the symbology.
struct SingleFields {
  std::string text;
  std::int64_t end = 0;           ///< the position behind them
  std::optional<int> loggedCode;  ///< the code as it was stored, if it was wanted
};

SingleFields FieldsAt(const Memory& memory, std::int64_t symbology, Layout layout,
                      const Choices& choices);

/// What the user sees of a line's bytes: UTF-8 if the whole line is that, else Latin-1.
std::string Shown(std::string_view line);

}  // namespace quillet::oracle
