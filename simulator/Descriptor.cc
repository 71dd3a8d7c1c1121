#include "simulator/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace quillet::simulator {
namespace {

struct Speed {
  std::uint64_t bits_per_second;
  speed_t code;
};

constexpr std::array kSpeeds = std::to_array<Speed>({
    {1200, B1200},
    {2400, B2400},
    {4800, B4800},
    {9600, B9600},
    {19200, B19200},
    {38400, B38400},
    {57600, B57600},
    {115200, B115200},
    {230400, B230400},
});

Endpoint::Transfer FailedTransfer() {
  const bool nothing_now = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
  return {0, !nothing_now};
}

}  // namespace

Descriptor::Descriptor(int number, const char* what) : number_(number) {
  if (number_ < 0) throw std::system_error(errno, std::generic_category(), what);
  if (number_ > STDERR_FILENO) return;
  const int higher = fcntl(number_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  ::close(std::exchange(number_, higher));
  if (higher < 0) throw std::system_error(error, std::generic_category(), what);
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    Reset();
    number_ = std::exchange(other.number_, -1);
  }
  return *this;
}

void Descriptor::Reset() {
  if (number_ >= 0) ::close(number_);
  number_ = -1;
}

Endpoint::Transfer ReadNow(int descriptor, std::span<std::uint8_t> buffer) {
  const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
  if (count < 0) return FailedTransfer();
  // A terminal in this mode answers EAGAIN when there is nothing; 0 means that the line is gone.
  return {static_cast<std::size_t>(count), count == 0};
}

Endpoint::Transfer WriteNow(int descriptor, std::span<const std::uint8_t> bytes) {
  const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
  if (count < 0) return FailedTransfer();
  return {static_cast<std::size_t>(count), false};
}

void SetRaw(int descriptor, std::uint64_t bits_per_second) {
  termios settings = {};
  if (tcgetattr(descriptor, &settings) != 0) return;
  settings.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR |
                                             ICRNL | IXON | IXOFF);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
  settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB);
  settings.c_cflag |= CS8 | CREAD | CLOCAL;
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  const auto* speed = std::find_if(kSpeeds.begin(), kSpeeds.end(), [&](const Speed& each) {
    return each.bits_per_second == bits_per_second;
  });
  if (speed != kSpeeds.end()) {
    cfsetispeed(&settings, speed->code);
    cfsetospeed(&settings, speed->code);
  }
  tcsetattr(descriptor, TCSANOW, &settings);
}

short PollNow(int descriptor, short events) {
  pollfd poll_entry{descriptor, events, 0};
  return ::poll(&poll_entry, 1, 0) > 0 ? poll_entry.revents : short{0};
}

}  // namespace quillet::simulator
