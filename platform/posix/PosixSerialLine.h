#pragma once

#include "platform/SerialLine.h"

namespace quillet::platform::posix {

/// Serial lines through termios(3). A line's number is its file descriptor. Stateless.
class PosixSerialLine final : public SerialLine {
 public:
  std::int32_t Open(const char* path, Access access, const LineSettings& settings) override;
  std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) override;
  void Write(std::int32_t line, std::uint8_t byte) override;

  /// Locks the device with flock(2), then forbids other opens with TIOCEXCL (ioctl_tty(2)), except
  /// on pseudo-terminals.
  bool Reserve(std::int32_t line) override;

  /// Undoes Reserve and discards the output queue, then closes the line. Otherwise close(2) would
  /// wait for a device that does not accept data, usually 30 s on Linux (setserial(8),
  /// closing_wait). Only closes the line if it is descriptor 0 or if another line holds the lock.
  void Close(std::int32_t line) override;
};

}  // namespace quillet::platform::posix
