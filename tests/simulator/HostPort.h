#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "base/UniqueFd.h"
#include "simulator/Simulator.h"

namespace quillet::simulator {

/// An open serial port: the computer's end of a scanner's line.
class HostPort {
 public:
  static constexpr std::chrono::seconds kPatience{20};

  explicit HostPort(const std::string& path)
      : line_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {}
  /// @param line  non-blocking descriptor; the object closes it
  explicit HostPort(int line) : line_(line) {}

  bool IsOpen() const { return line_.IsOpen(); }
  int Descriptor() const { return line_.Get(); }

  bool Send(std::string_view bytes) {
    return ::write(line_.Get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }

  /// Reads until `count` bytes have arrived, the line hangs up or the time-out expires.
  Bytes Receive(std::size_t count, std::chrono::milliseconds timeout = kPatience) {
    Bytes bytes;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (bytes.size() < count && !hungUp_) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      pollfd entry{line_.Get(), POLLIN, 0};
      ::poll(&entry, 1, static_cast<int>(left.count()));
      ReadSome(bytes, count);
    }
    return bytes;
  }

  Bytes ReceiveUntilHangUp() { return Receive(~std::size_t{0}); }

  /// Sends a command and reads its answer of `answerSize` bytes.
  Bytes Ask(std::string_view command, std::size_t answerSize) {
    Send(command);
    return Receive(answerSize);
  }

  /// Returns true if a read has detected a hang-up.
  bool HungUp() const { return hungUp_; }

 private:
  void ReadSome(Bytes& bytes, std::size_t count) {
    std::uint8_t buffer[4096];
    const std::size_t wanted = std::min(count - bytes.size(), sizeof buffer);
    const ssize_t size = ::read(line_.Get(), buffer, wanted);
    if (size > 0) bytes.insert(bytes.end(), buffer, buffer + size);
    if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) hungUp_ = true;
  }

  UniqueFd line_;
  bool hungUp_ = false;
};

/// Fixture with a simulated scanner (serial number 1234567890) and an open port on its line.
class ScannerTest : public testing::Test {
 protected:
  static constexpr std::chrono::milliseconds kSilence{60};

  ScannerTest() { options.device.serial = "1234567890"; }

  /// Starts a scanner with `options` and opens a port on its line.
  void Attach() {
    scanner.emplace(options);
    scanner->Start();
    port.emplace(scanner->Path());
  }

  /// Opens the port a second time. Returns true if the scanner answers the command "W".
  bool Answers() { return HostPort(scanner->Path()).Ask("W", 1) == ToBytes("@"); }

  Options options = Options::Instant();
  std::optional<Simulator> scanner;
  std::optional<HostPort> port;
};

}  // namespace quillet::simulator
