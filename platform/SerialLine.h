#pragma once

#include <cstdint>
#include <span>

namespace quillet::platform {

/// Speed and framing of a serial line.
struct LineSettings {
  std::int32_t bitsPerSecond;  ///< 115200; any other value means 9600
  std::int32_t dataBits;       ///< 7; any other value means 8
  std::int32_t parity;         ///< 0: none, 1: odd, other: even
  std::int32_t stopBits;       ///< 2 or more: two stop bits; other: one
};

/// Serial devices, opened by path. No call blocks. Any thread may call any function, but a
/// line must not be closed while another thread uses it.
class SerialLine {
 public:
  /// Direction of a line.
  enum class Access { kRead, kWrite };

  virtual ~SerialLine() = default;

  /// Opens a device in raw mode, without making it the controlling terminal. Files that are
  /// not terminals are opened without configuration.
  /// @param path      NUL-terminated path of the device
  /// @param access    direction
  /// @param settings  speed and framing
  /// @return a handle for the line, 0 or greater; -1 if the device cannot be opened
  virtual std::int32_t Open(const char* path, Access access, const LineSettings& settings) = 0;

  /// Reserves a device for this program until `line` is closed or the program ends. Open all lines
  /// of the device first, since a reserved device cannot be opened again.
  /// @param line  handle from Open, or -1
  /// @return false if another program has reserved the device, or if `line` is -1
  virtual bool Reserve(std::int32_t line) = 0;

  /// Reads the bytes that have arrived.
  /// @param line    handle from Open, or -1
  /// @param buffer  receives the bytes
  /// @return the number of bytes read; 0 or less if no bytes have arrived, on error, or if `line`
  ///         is -1
  virtual std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) = 0;

  /// Returns true if the device no longer exists or has hung up. Reading and writing then fail
  /// until the device is opened again.
  /// @param line  handle from Open, or -1
  virtual bool IsHungUp([[maybe_unused]] std::int32_t line) { return false; }

  /// Sends one byte. After an error, or if the output queue is full, the byte is silently lost.
  virtual void Write(std::int32_t line, std::uint8_t byte) = 0;

  /// Closes a line. Discards unsent bytes if this line has reserved the device.
  virtual void Close(std::int32_t line) = 0;
};

}  // namespace quillet::platform
