#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "device/Lumet.h"
#include "tests/oracle/OracleBurst.h"
#include "tests/oracle/OracleLine.h"
#include "tests/oracle/RandomCases.h"

namespace quillet::oracle {

/// What a comparison met. The counts tell whether it went where it should have gone.
struct Figures {
  std::int64_t lines = 0;        ///< records made into lines and compared
  std::int64_t bursts = 0;       ///< bursts walked
  std::int64_t erased = 0;       ///< records of bursts that make no line
  std::int64_t ended = 0;        ///< walks that a record without a usable length ended
  std::int64_t cut = 0;          ///< lines too long for the program's buffer
  std::int64_t cutEarly = 0;     ///< those of them that would just have fitted
  std::int64_t nothing = 0;      ///< records with less than no data
  std::int64_t foreign = 0;      ///< lines that are not ASCII
  std::int64_t differences = 0;  ///< cases in which the two did not agree
  std::array<std::int64_t, 64> codes{};
  std::array<std::int64_t, 7> orders{};  ///< the last: those outside the table
  std::vector<std::string> examples;     ///< the first differences, told in full
};

std::string Summary(const Figures& figures);

/// Gives the same random records and settings to the program and to the plain implementation.
/// Records reach the program as those of a scanner do: as the answer to a command, unasked, or in a
/// burst. Some are composed straight from a buffer that ends where they do.
class Comparison {
 public:
  Comparison(Layout layout, std::uint64_t randomState);

  /// Compares `records` records, each by itself and with settings of its own.
  void CompareRecords(std::int64_t records);

  /// Compares bursts, each with settings of its own, until `records` have been made into lines.
  void CompareBursts(std::int64_t records);

  /// Compares one burst that fills the receive buffer to its last byte.
  /// @param runsOut  its last record tells one byte more than the buffer holds
  void CompareFullBuffer(bool runsOut);

  const Figures& figures() const { return figures_; }

 private:
  class Log;
  class Clock;
  class Owner;
  class Composer;

  /// A line as the program made it.
  struct Made {
    std::string bytes;
    std::string shown;
  };

  static void Choose(RecordComposer& composer, Layout layout, const Choices& choices);
  void Feed(const Bytes& bytes);
  void FeedFrame(bool lead, const Bytes& body);
  void CompareSingleFields(const Bytes& record, const Choices& choices);
  void CompareComposed(const Bytes& record, const Choices& choices);
  void CompareAsked(const Bytes& record, const Choices& choices);
  void CompareUnasked(const Bytes& record, const Choices& choices);
  void CompareBurst(const Bytes& burst, const Choices& choices);
  void CompareLine(const Line& expected, const Made* made);
  void CompareTypeLog(const Line& expected);
  void Count(const Memory& memory, std::int64_t start, const Choices& choices);
  void Differ(std::string_view what, std::string_view expected, std::string_view got);

  const Layout layout_;
  Random random_;
  Figures figures_;
  const Bytes* bytes_ = nullptr;  // these two: the present case, told when it makes a difference
  const Choices* choices_ = nullptr;

  Log& log_;
  Clock& clock_;
  Owner& owner_;
  Composer& composer_;
  Lumet& lumet_;
  Memory memory_{Lumet::kRxBufferSize};  // what lumet_ holds in its receive buffer
  std::size_t received_ = 0;             // bytes of the present unit
};

}  // namespace quillet::oracle
