#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "simulator/Bytes.h"

namespace quillet::simulator {

/// What the scanner can be told to do.
enum class CommandKind {
  kWakeUp,          ///< W
  kSerialNumber,    ///< M
  kFirmware,        ///< V
  kAssetNumber,     ///< GZSG
  kWedgeMode,       ///< w0# or w1#
  kSetClock,        ///< C and six binary bytes: year minus 2000, month, day, hour, minute, second
  kErase,           ///< E
  kCountRecords,    ///< N
  kBeginDownload,   ///< GS1
  kEndDownload,     ///< GS0
  kSendAllRecords,  ///< P
  kSendOneRecord,   ///< p, the record's index in lower-case hexadecimal, #
};

/// One command that has arrived whole.
struct Command {
  CommandKind kind = CommandKind::kWakeUp;
  /// How people write it: the command's bytes, but only "C" for the clock command, whose other
  /// bytes are not text.
  std::string text;
  bool wedge_on = false;                   ///< kWedgeMode only
  std::array<std::uint8_t, 6> clock = {};  ///< kSetClock only
  std::uint32_t index = 0;                 ///< kSendOneRecord only
};

/// Finds the commands in the bytes that the scanner receives, and everything that is none.
///
/// A byte that cannot continue an unfinished command is taken as the first byte of the next one, so
/// that one lost byte costs one command. NUL bytes between commands are ignored: they only serve to
/// rouse a sleeping scanner.
class CommandParser {
 public:
  struct Result {
    /// The command that this byte completed.
    std::optional<Command> command;
    /// What was wrong with this byte, or with the unfinished bytes before it; "" when nothing was.
    std::string complaint;
  };

  /// Takes the next byte from the line.
  Result Feed(std::uint8_t byte);

  /// Forgets an unfinished command, as the scanner does when the cable is pulled, and returns its
  /// bytes.
  Bytes Reset();

 private:
  bool Continues(std::uint8_t byte) const;
  bool IsComplete() const;
  Command Take();

  Bytes pending_;
};

}  // namespace quillet::simulator
