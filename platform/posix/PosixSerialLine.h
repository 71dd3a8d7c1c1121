#pragma once

#include "platform/SerialLine.h"

namespace quillet::platform::posix {

/// Serial lines through termios (POSIX, termios.h). A line's number is its file descriptor. Holds
/// no state.
class PosixSerialLine final : public SerialLine {
 public:
  std::int32_t Open(const char* path, Access access, const LineSettings& settings) override;
  std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) override;
  void Write(std::int32_t line, std::uint8_t byte) override;

  /// Closes the descriptor, 0 included. The output queue of any other descriptor is flushed first:
  /// close(2) would otherwise wait for a device that accepts nothing, usually 30 s on Linux
  /// (setserial(8), closing_wait).
  void Close(std::int32_t line) override;
};

}  // namespace quillet::platform::posix
