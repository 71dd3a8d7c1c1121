#pragma once

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>

#include "simulator/Bytes.h"

namespace quillet::simulator {

/// The computer's end of a line in the tests: a serial port that some program has open.
class HostPort {
 public:
  static constexpr std::chrono::seconds kPatience{20};

  explicit HostPort(const std::string& path)
      : descriptor_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {}
  /// Takes a descriptor that does not block.
  explicit HostPort(int descriptor) : descriptor_(descriptor) {}
  ~HostPort() { Close(); }
  HostPort(const HostPort&) = delete;
  HostPort& operator=(const HostPort&) = delete;

  bool IsOpen() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }

  void Close() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  }

  bool Send(const Bytes& bytes) {
    return ::write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  bool Send(std::string_view text) { return Send(ToBytes(text)); }

  /// Reads until `count` bytes are there, the line hangs up, or the time is over.
  Bytes Receive(std::size_t count, std::chrono::milliseconds patience = kPatience) {
    Bytes bytes;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (bytes.size() < count && !hung_up_) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      pollfd entry{descriptor_, POLLIN, 0};
      ::poll(&entry, 1, static_cast<int>(left.count()));
      ReadSome(bytes, count);
    }
    return bytes;
  }

  /// Everything that comes until the line hangs up.
  Bytes ReceiveUntilHangUp() { return Receive(~std::size_t{0}); }

  /// Everything that comes until nothing has come for so long.
  Bytes ReceiveUntilSilence(std::chrono::milliseconds silence) {
    Bytes bytes;
    while (true) {
      const Bytes more = Receive(1, silence);
      if (more.empty()) return bytes;
      Append(bytes, more);
    }
  }

  /// Sends and reads what is expected to come.
  Bytes Ask(std::string_view command, std::size_t answer_size) {
    Send(command);
    return Receive(answer_size);
  }

  /// Whether a read has found the line gone.
  bool hung_up() const { return hung_up_; }

 private:
  void ReadSome(Bytes& bytes, std::size_t count) {
    std::uint8_t buffer[4096];
    const std::size_t wanted = std::min(count - bytes.size(), sizeof buffer);
    const ssize_t size = ::read(descriptor_, buffer, wanted);
    if (size > 0) bytes.insert(bytes.end(), buffer, buffer + size);
    if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) hung_up_ = true;
  }

  int descriptor_;
  bool hung_up_ = false;
};

}  // namespace quillet::simulator
