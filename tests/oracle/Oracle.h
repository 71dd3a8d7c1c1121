#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A second, plain implementation of how stored records become lines. It shares no code with the
// program: it reads a record with arithmetic on offsets and builds whole strings.

namespace quillet::oracle {

enum class Layout { kOlder, k300Series };

/// The buffer that holds the records. A record with a wrong length extends past the received bytes:
/// inside the buffer those are left over from earlier answers, outside it they are zero.
class Memory {
 public:
  explicit Memory(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

  int At(std::int64_t position) const {
    return position < 0 || position >= Size() ? 0 : bytes_[static_cast<std::size_t>(position)];
  }
  /// Two bytes, the first the most significant.
  int PairAt(std::int64_t position) const { return At(position) * 256 + At(position + 1); }

  std::int64_t Size() const { return static_cast<std::int64_t>(bytes_.size()); }

  void Put(std::size_t position, std::uint8_t byte) { bytes_.at(position) = byte; }

 private:
  std::vector<std::uint8_t> bytes_;
};

/// The user's settings, and the scanner's serial number.
struct Choices {
  int typeWanted = 0;  ///< these three: 0 is no, anything else yes
  int serialWanted = 0;
  int timeWanted = 0;
  std::int32_t dataDelimiter = 0;
  std::int32_t recordDelimiter = 0;
  std::int32_t serialPosition = 0;
  std::int32_t order = 0;
  std::string serialField;  ///< all bytes of the field, those after its text too
};

struct Line {
  std::string text;               ///< whole, however long
  std::optional<int> loggedCode;  ///< the code under which the symbology was looked up and logged
};

/// The line of the record that begins at `start`.
Line LineOfRecord(const Memory& memory, std::int64_t start, Layout layout, const Choices& choices);

/// Result of the operations for single fields: symbology at a position, whole serial number, time.
struct SingleFields {
  std::string text;
  std::int64_t end = 0;           ///< the position after them
  std::optional<int> loggedCode;  ///< the code as stored, if it was wanted
};

SingleFields FieldsAt(const Memory& memory, std::int64_t symbology, Layout layout,
                      const Choices& choices);

/// A record that the walk through a burst reaches.
struct Visit {
  std::int64_t offset = 0;
  std::int64_t step = 0;  ///< distance to the next one
  bool erased = false;    ///< yields no line
  bool last = false;      ///< yields no line and ends the walk
};

/// The records of a burst of `received` bytes, including the three of its length.
std::vector<Visit> WalkBurst(const Memory& memory, std::int64_t received, Layout layout);

/// A line's bytes as displayed: UTF-8 if the whole line is valid UTF-8, else Latin-1.
std::string Shown(std::string_view line);

}  // namespace quillet::oracle
