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

/// The number of an open file that one thread uses while another may close it. A number is
/// withdrawn first, then the use in progress ends, and only then is the file closed; otherwise a
/// file that somebody opens meanwhile could get the same number and lose its bytes to us.
class Descriptor {
 public:
  /// The present number; -1 when closed. Another thread may close it at any moment.
  operator std::int32_t() const noexcept { return number_.load(); }

  /// Calls `use` with the present number, which stays open during the call. It must not block.
  template <class Use>
  auto With(Use&& use) {
    users_.fetch_add(1);
    const auto result = use(number_.load());
    users_.fetch_sub(1);
    return result;
  }

  /// Puts `replacement` in the number's place and waits until nobody uses the old one any more.
  /// @return the old number, for the caller to close.
  std::int32_t Exchange(std::int32_t replacement);

 private:
  std::atomic<std::int32_t> number_{0};
  std::atomic<std::int32_t> users_{0};
};

/// The byte channel to the scanner: one device node, opened twice, once to read and once to write.
/// It is made once and opened and closed again and again.
///
/// Threads: openConnections is for one connecting thread at a time; the close operations may be
/// called meanwhile from another, and transmitCharacters from a sending one. DataFromDevice is
/// called on the read thread, which starts with the first successful open and ends with the
/// process. A SerialPort must therefore never be destroyed once it has been opened.
class SerialPort {
 public:
  /// The most bytes that one read hands over.
  static constexpr std::int32_t kReadBufferSize = 10240;

  /// @param log    outlives the channel, which is never destroyed; so do `clock` and `line`
  /// @param clock  makes the pauses
  /// @param line   opens, reads and writes the device
  SerialPort(SystemLog& log, platform::Clock& clock, platform::SerialLine& line)
      : log_(log), clock_(clock), line_(line) {}
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;

  /// Who receives what is read, or nobody; not owned. Any thread.
  SerialPortDelegate* delegate() const { return delegate_.load(); }
  /// Sets the receiver. A chunk that is being handed over still goes to the old one. Any thread.
  void setDelegate(SerialPortDelegate* receiver) { delegate_.store(receiver); }

  /// Opens the device at 115200 bit/s, 8 data bits, no parity, 1 stop bit, raw and non-blocking.
  /// @param path  NUL-terminated path of the device node
  /// @return 1 when both descriptors are open, else 0.
  std::uint8_t openConnections(const char* path);

  /// Closes the reading side, unless it is descriptor 0, and makes it -1. Returns when the read in
  /// progress has ended.
  void closeInputConnection();

  /// Closes the writing side, be it descriptor 0, and makes it -1.
  void closeOutputConnection();

  /// Closes both sides. The read thread goes on and finds nothing to read.
  void closeConnections();

  /// Writes `count` bytes, each followed by a pause of one millisecond, so that the scanner can
  /// keep up. Write errors are ignored: the command's time-out tells. Nothing happens for a count
  /// of 0 or less.
  void transmitCharacters(const std::uint8_t* bytes, std::int32_t count);

  /// The body of the read thread; it never returns. Called by nobody else.
  [[noreturn]] void ReadThread();

  /// One pass of the read thread without its pause.
  /// @param buffer  kReadBufferSize bytes
  void ReadOnce(std::uint8_t* buffer);

  // A fresh channel holds descriptor 0 in both fields without having opened it.
  Descriptor outputfd;               ///< write-only descriptor; -1 when closed
  Descriptor inputfd;                ///< read-only descriptor; -1 when closed
  Word<std::uint8_t> bIsClosed = 0;  ///< 1 from closeConnections until the next successful open
  ThreadHandle readThread;           ///< held from the first successful open on

 private:
  void Put(Descriptor& place, std::int32_t line);

  SystemLog& log_;
  platform::Clock& clock_;
  platform::SerialLine& line_;
  std::atomic<SerialPortDelegate*> delegate_{nullptr};
};

}  // namespace quillet
