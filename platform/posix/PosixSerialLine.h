#pragma once

#include <cstdint>
#include <mutex>
#include <set>

#include "platform/SerialLine.h"

namespace quillet::platform::posix {

/// Accesses serial lines using termios(3). A line's handle is its file descriptor.
class PosixSerialLine final : public SerialLine {
 public:
  std::int32_t Open(const char* path, Access access, const LineSettings& settings) override;
  std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) override;
  void Write(std::int32_t line, std::uint8_t byte) override;

  /// Tries to read the line's settings. After a hang-up, this fails with EIO on Linux and with
  /// ENXIO on macOS.
  bool IsHungUp(std::int32_t line) override;

  /// Locks the device with flock(2), then prevents further opens with TIOCEXCL (ioctl_tty(2)),
  /// except on pseudo-terminals.
  bool Reserve(std::int32_t line) override;

  /// Closes the line. If the line is reserved, first undoes Reserve and discards the output queue.
  /// With queued output, close(2) would wait for a device that does not accept data. The wait is
  /// usually 30 s on Linux (setserial(8), closing_wait).
  void Close(std::int32_t line) override;

 private:
  std::mutex mutex_;                 // guards reserved_
  std::set<std::int32_t> reserved_;  // lines that have reserved their device
};

}  // namespace quillet::platform::posix
