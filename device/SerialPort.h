#pragma once

#include <atomic>
#include <cstdint>

#include "base/SystemLog.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "platform/Clock.h"
#include "platform/SerialLine.h"

namespace quillet {

/// Receives what a SerialPort reads.
class SerialPortDelegate {
 public:
  /// Called on the port's read thread with each chunk; nothing is read until it returns.
  /// @param bytes  the port's read buffer; valid during the call only
  /// @param count  how many bytes, 1 to 10240
  virtual void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) = 0;

 protected:
  ~SerialPortDelegate() = default;
};

/// The number of a line that one thread uses while another may close it. The closer replaces the
/// number first, waits until no thread uses it, and closes it then. Otherwise a file opened in
/// between could get the same number and lose bytes to the read thread.
class Descriptor {
 public:
  /// The present number, -1 when closed. Another thread may close it at any time.
  operator std::int32_t() const noexcept { return number_.load(); }

  /// Calls `use` with the present number, which stays open during the call. It must not block.
  template <class Use>
  auto With(Use&& use) {
    users_.fetch_add(1);
    const auto result = use(number_.load());
    users_.fetch_sub(1);
    return result;
  }

  /// Replaces the number and waits until no thread uses the old one.
  /// @return the old number, for the caller to close.
  std::int32_t Exchange(std::int32_t replacement);

 private:
  std::atomic<std::int32_t> number_{0};
  std::atomic<std::int32_t> users_{0};
};

/// The byte channel to the scanner: one device, opened twice, for reading and for writing. The same
/// channel is opened and closed again and again.
///
/// Threads: one thread at a time opens. Another may close at any time; an open that it overtakes
/// fails or leaves `bIsClosed` 1. A sending thread transmits. The read thread starts with the first
/// successful open and ends with the process, so a channel that was opened is never destroyed.
class SerialPort {
 public:
  /// The most bytes of one chunk.
  static constexpr std::int32_t kReadBufferSize = 10240;

  /// @param log    outlives the channel, which is never destroyed; so do `clock` and `line`
  /// @param clock  makes the pauses
  /// @param line   opens, reads and writes the device
  SerialPort(SystemLog& log, platform::Clock& clock, platform::SerialLine& line)
      : log_(log), clock_(clock), line_(line) {}
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;

  /// The receiver of the bytes, or null; not owned. Any thread.
  SerialPortDelegate* delegate() const { return delegate_.load(); }
  /// Sets the receiver. The old one may still get one chunk. Any thread.
  void setDelegate(SerialPortDelegate* receiver) { delegate_.store(receiver); }

  /// Opens the device for 115200 bit/s, 8 data bits, no parity, 1 stop bit. A port that is still
  /// open is closed.
  /// @param path  NUL-terminated path of the device
  /// @return 1 if both directions are open, else 0.
  std::uint8_t openConnections(const char* path);

  void closeInputConnection();   ///< closes the reading side, except descriptor 0
  void closeOutputConnection();  ///< closes the writing side, descriptor 0 included
  void closeConnections();       ///< closes both sides; the read thread continues

  /// Writes bytes, each followed by a pause of one millisecond, so that the scanner can keep up.
  /// Write errors are ignored: a command that was not sent times out.
  /// @param bytes  the bytes
  /// @param count  their number; 0 or less does nothing
  void transmitCharacters(const std::uint8_t* bytes, std::int32_t count);

  /// Body of the read thread.
  [[noreturn]] void ReadThread();

  /// One pass of the read thread without its pause.
  /// @param buffer  kReadBufferSize bytes
  void ReadOnce(std::uint8_t* buffer);

  std::int32_t outputfd() const { return outputfd_; }    ///< open for writing; -1 when closed
  std::int32_t inputfd() const { return inputfd_; }      ///< open for reading; -1 when closed
  std::uint8_t bIsClosed() const { return bIsClosed_; }  ///< 1 after closeConnections

 private:
  void Put(Descriptor& place, std::int32_t line);

  SystemLog& log_;
  platform::Clock& clock_;
  platform::SerialLine& line_;
  std::atomic<SerialPortDelegate*> delegate_{nullptr};
  // A new channel holds descriptor 0 in both fields without having opened it.
  Descriptor outputfd_;
  Descriptor inputfd_;
  std::atomic<std::uint8_t> bIsClosed_{0};
  ThreadHandle readThread_;
};

}  // namespace quillet
