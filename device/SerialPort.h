#pragma once

#include <atomic>
#include <cstdint>

#include "base/SystemLog.h"
#include "base/ThreadHandle.h"
#include "platform/Clock.h"
#include "platform/SerialLine.h"

namespace quillet {

/// Receives the bytes that a SerialPort reads.
class SerialPortDelegate {
 public:
  /// Called on the port's read thread with each chunk. The next chunk is read after the call
  /// returns.
  /// @param bytes  the port's read buffer, valid during the call
  /// @param count  the number of bytes, 1 to 10240
  virtual void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) = 0;

  /// Called once on the port's read thread if the open device no longer exists or has been hung up
  /// for more than a second.
  virtual void DeviceHungUp() {}

 protected:
  ~SerialPortDelegate() = default;
};

/// The descriptor of a serial line that one thread uses and another thread may close. The closing
/// thread replaces the descriptor number, waits until no thread uses the old number, then closes
/// the line. Otherwise a file opened in between could get the same number, and the read thread
/// would read from that file.
class Descriptor {
 public:
  /// The current number, or -1 if closed. Another thread may close the line at any time.
  operator std::int32_t() const noexcept { return number_.load(); }

  /// Number of times that the descriptor has been replaced. Any thread.
  std::uint32_t replacements() const { return replacements_.load(); }

  /// Calls `use`, which must not block, with the current descriptor number. The line stays open
  /// until `use` returns.
  template <class Use>
  auto With(Use&& use) {
    users_.fetch_add(1);
    const auto result = use(number_.load());
    users_.fetch_sub(1);
    return result;
  }

  /// Replaces the number and waits until no thread uses the old one.
  /// @return the old number, which the caller closes.
  std::int32_t Exchange(std::int32_t replacement);

 private:
  std::atomic<std::int32_t> number_{0};
  std::atomic<std::uint32_t> replacements_{0};
  std::atomic<std::int32_t> users_{0};
};

/// The byte channel to the scanner. Each open uses two descriptors of one device, one for reading
/// and one for writing. The channel can be closed and opened again.
///
/// One thread at a time may open the channel. Any thread may close it, even while another thread
/// is opening it. In that case, openConnections fails, or succeeds with `bIsClosed` set to 1. The
/// read thread starts with the first successful open and never ends. The channel, its log, clock
/// and line must therefore live until the process ends.
class SerialPort {
 public:
  static constexpr std::int32_t kReadBufferSize = 10240;  ///< maximum size of a chunk in bytes

  /// @param log    receives messages about chunks that arrive while no delegate is set, and about
  ///               failures to start the thread
  /// @param clock  sleeps between reads and between written bytes
  /// @param line   opens, reads and writes the device
  SerialPort(SystemLog& log, platform::Clock& clock, platform::SerialLine& line)
      : log_(log), clock_(clock), line_(line) {}
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;

  /// The receiver of the bytes, or null; not owned. Any thread.
  SerialPortDelegate* delegate() const { return delegate_.load(); }
  /// Sets the receiver. The previous receiver may still get one chunk. Any thread.
  void setDelegate(SerialPortDelegate* receiver) { delegate_.store(receiver); }

  /// Opens and reserves the device at 115200 bit/s, 8 data bits, no parity, 1 stop bit. First
  /// closes a port that is already open.
  /// @param path  NUL-terminated path of the device
  /// @return 1 if both directions are open; 0 on failure, for example if another program has
  ///         reserved the device or the read thread cannot be started (see LacksThread).
  std::uint8_t openConnections(const char* path);

  void closeInputConnection();   ///< closes the input descriptor, unless it is 0
  void closeOutputConnection();  ///< closes the output descriptor, even if it is 0
  void closeConnections();       ///< closes both descriptors; the read thread continues

  /// Writes bytes with a pause of 1 ms after each, which gives the scanner time to process them.
  /// Write errors are ignored: a lost command times out.
  /// @param bytes  the bytes to write
  /// @param count  the number of bytes; 0 or less writes nothing
  void transmitCharacters(const std::uint8_t* bytes, std::int32_t count);

  /// Like transmitCharacters, but writes a byte only if the port has been neither opened nor closed
  /// since `openings` returned the given value.
  /// @return false if the port has been opened or closed; the byte is then not written
  bool TransmitIfSamePort(std::uint32_t openings, std::uint8_t byte);

  /// Number of times that the output descriptor has been opened or closed. Any thread.
  std::uint32_t openings() const { return outputfd_.replacements(); }

  /// Returns true if the last call to openConnections could not start the read thread. Any thread.
  bool LacksThread() const { return lacksThread_; }

  /// Body of the read thread.
  [[noreturn]] void ReadThread();

  /// Reads once and passes the bytes to the delegate. After a second without data, the pauses
  /// between reads may last up to 5 ms longer, and ReadOnce checks about once per second whether
  /// the device has hung up. Read thread.
  /// @param buffer  kReadBufferSize bytes
  void ReadOnce(std::uint8_t* buffer);

  std::int32_t outputfd() const { return outputfd_; }    ///< descriptor for writing; -1 if closed
  std::int32_t inputfd() const { return inputfd_; }      ///< descriptor for reading; -1 if closed
  std::uint8_t bIsClosed() const { return bIsClosed_; }  ///< 1 after closeConnections

 private:
  void Put(Descriptor& place, std::int32_t line);
  void CountSilence();
  void CheckHangUp();

  SystemLog& log_;
  platform::Clock& clock_;
  platform::SerialLine& line_;
  std::atomic<SerialPortDelegate*> delegate_{nullptr};
  // Both are 0 (standard input) until the port is first opened or closed.
  Descriptor outputfd_;
  Descriptor inputfd_;
  std::atomic<std::uint8_t> bIsClosed_{0};
  ThreadHandle readThread_;
  std::atomic<bool> lacksThread_{false};
  // Read thread only.
  std::int32_t silentReads_ = 0;   // reads without data since the last chunk or hang-up check
  std::int32_t hungUpChecks_ = 0;  // number of successive checks that found a hang-up
};

}  // namespace quillet
