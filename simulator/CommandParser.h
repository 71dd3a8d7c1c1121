#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

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

/// A complete command.
struct Command {
  CommandKind kind = CommandKind::kWakeUp;
  /// The command's bytes. For the clock command, only "C", because the other bytes are binary.
  std::string text;
  std::array<std::uint8_t, 6> clock = {};  ///< kSetClock only
  std::uint32_t index = 0;                 ///< kSendOneRecord only
};

/// Splits the bytes that the scanner receives into commands, and reports invalid bytes.
///
/// A byte that cannot continue an incomplete command is the first byte of the next command, so that
/// a lost byte affects only one command. NUL bytes between commands only wake the scanner.
class CommandParser {
 public:
  struct Result {
    std::optional<Command> command;  ///< the command that this byte completed
    std::string complaint;           ///< why this byte or the command is invalid; "" if valid
  };

  /// Processes the next received byte.
  Result Feed(std::uint8_t byte);

  /// Drops an incomplete command, as the scanner does if the cable is pulled.
  /// @return the bytes of the incomplete command
  std::string Reset() { return std::exchange(pending_, {}); }

 private:
  bool Continues(char byte) const;
  bool IsComplete() const;
  Command Take();

  std::string pending_;
};

}  // namespace quillet::simulator
