#pragma once

#include <cstdint>
#include <span>

namespace quillet::platform {

/// Speed and framing of a serial line.
struct LineSettings {
  std::int32_t bitsPerSecond;  ///< 115200
  std::int32_t dataBits;       ///< 7, else 8
  std::int32_t parity;         ///< 0 none, 1 odd, else even
  std::int32_t stopBits;       ///< 1; 2 or more for two
};

/// The serial devices of the system, opened by path. All calls return at once. Any thread; the
/// caller does not close a line while another thread uses it.
class SerialLine {
 public:
  /// What a line is opened for.
  enum class Access { kRead, kWrite };

  virtual ~SerialLine() = default;

  /// Opens a device in raw mode, without making it the controlling terminal. A path that is not a
  /// terminal is opened unchanged.
  /// @param path      NUL-terminated path of the device
  /// @param access    the direction
  /// @param settings  speed and framing
  /// @return the line's number, 0 or more; -1 if the device cannot be opened.
  virtual std::int32_t Open(const char* path, Access access, const LineSettings& settings) = 0;

  /// Reads the bytes that have arrived.
  /// @param line    a number, or -1
  /// @param buffer  receives at most its size
  /// @return the number of bytes; 0 or less if there are none, on an error, or for -1.
  virtual std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) = 0;

  /// Sends one byte. An error is not reported, nor is a full line: the byte is dropped.
  virtual void Write(std::int32_t line, std::uint8_t byte) = 0;

  /// Closes a line. Bytes that the device has not accepted are discarded.
  virtual void Close(std::int32_t line) = 0;
};

}  // namespace quillet::platform
