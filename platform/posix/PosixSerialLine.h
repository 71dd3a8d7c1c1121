#pragma once

#include "platform/SerialLine.h"

namespace quillet::platform::posix {

/// Serial lines through termios(3). A line's number is its file descriptor. Stateless.
class PosixSerialLine final : public SerialLine {
 public:
  std::int32_t Open(const char* path, Access access, const LineSettings& settings) override;
  std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) override;
  void Write(std::int32_t line, std::uint8_t byte) override;

  /// Discards the output queue, except that of descriptor 0, then closes the line. Otherwise
  /// close(2) would wait for a device that does not accept data, usually 30 s on Linux
  /// (setserial(8), closing_wait).
  void Close(std::int32_t line) override;
};

}  // namespace quillet::platform::posix
