#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace quillet::simulator {

/// The scanner's commands.
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

/// One complete command.
struct Command {
  CommandKind kind = CommandKind::kWakeUp;
  /// The command's bytes; "C" for the clock command, whose other bytes are not text.
  std::string text;
  std::array<std::uint8_t, 6> clock = {};  ///< kSetClock only
  std::uint32_t index = 0;                 ///< kSendOneRecord only
};

/// Finds the commands in the bytes that the scanner receives, and everything else.
///
/// A byte that cannot continue an unfinished command counts as the first byte of the next one: one
/// lost byte costs one command. NUL bytes between commands are ignored: they only wake the scanner.
class CommandParser {
 public:
  struct Result {
    /// The command that this byte completed.
    std::optional<Command> command;
    /// The error in this byte, or in the unfinished bytes before it; "" if there is none.
    std::string complaint;
  };

  /// Reads the next byte from the line.
  Result Feed(std::uint8_t byte);

  /// Forgets an unfinished command, as the scanner does when the cable is pulled.
  /// @return its bytes
  std::string Reset();

 private:
  bool Continues(char byte) const;
  bool IsComplete() const;
  Command Take();

  std::string pending_;
};

}  // namespace quillet::simulator
