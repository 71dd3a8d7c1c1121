#include "platform/posix/PosixSerialLine.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

namespace quillet::platform::posix {
namespace {

speed_t SpeedCode(std::int32_t bitsPerSecond) {
  return bitsPerSecond == 115200 ? B115200 : B9600;
}

tcflag_t ControlBits(const LineSettings& settings) {
  tcflag_t bits = CLOCAL;
  bits |= settings.dataBits == 7 ? CS7 : CS8;
  if (settings.parity != 0) bits |= PARENB;
  if (settings.parity == 1) bits |= PARODD;
  if (settings.stopBits >= 2) bits |= CSTOPB;
  return bits;
}

void Configure(int descriptor, const LineSettings& settings) {
  termios line{};
  if (tcgetattr(descriptor, &line) != 0) return;
  line.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | PARODD);
  line.c_cflag |= ControlBits(settings);
  // Raw mode: records can contain any byte value, including CR, XON and XOFF.
  line.c_iflag = 0;
  line.c_oflag = 0;
  line.c_lflag = 0;
  cfsetispeed(&line, SpeedCode(settings.bitsPerSecond));
  cfsetospeed(&line, SpeedCode(settings.bitsPerSecond));
  tcsetattr(descriptor, TCSANOW, &line);
}

// Pseudo-terminals have names like /dev/pts/1 on Linux (pts(4)) and /dev/ttys001 on macOS (pty(4)).
bool IsRealPort(int descriptor) {
  std::array<char, 64> name{};
  if (ttyname_r(descriptor, name.data(), name.size()) != 0) return false;
  const std::string_view path(name.data());
  return !path.starts_with("/dev/pts/") && !path.starts_with("/dev/ttys");
}

// Leaves pseudo-terminals unchanged: they would stay in exclusive mode after the last close and
// could never be opened again.
void SetExclusive(int descriptor, bool exclusive) {
  if (IsRealPort(descriptor)) ioctl(descriptor, exclusive ? TIOCEXCL : TIOCNXCL);
}

// Returns true if this line now holds the lock or if the device does not support locks.
bool Lock(int descriptor) {
  return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EBADF);
}

}  // namespace

std::int32_t PosixSerialLine::Open(const char* path, Access access, const LineSettings& settings) {
  const int direction = access == Access::kRead ? O_RDONLY : O_WRONLY;
  const int descriptor = open(path, direction | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor >= 0) Configure(descriptor, settings);
  return descriptor;
}

bool PosixSerialLine::Reserve(std::int32_t line) {
  if (!Lock(line)) return false;
  SetExclusive(line, true);
  const std::lock_guard lock(mutex_);
  reserved_.insert(line);
  return true;
}

std::int32_t PosixSerialLine::Read(std::int32_t line, std::span<std::uint8_t> buffer) {
  return static_cast<std::int32_t>(read(line, buffer.data(), buffer.size()));
}

bool PosixSerialLine::IsHungUp(std::int32_t line) {
  termios settings{};
  return tcgetattr(line, &settings) != 0 && (errno == EIO || errno == ENXIO || errno == ENODEV);
}

void PosixSerialLine::Write(std::int32_t line, std::uint8_t byte) {
  [[maybe_unused]] const ssize_t written = write(line, &byte, 1);
}

void PosixSerialLine::Close(std::int32_t line) {
  std::unique_lock lock(mutex_);
  const bool isReserved = reserved_.erase(line) > 0;
  lock.unlock();
  if (isReserved) {
    SetExclusive(line, false);
    tcflush(line, TCOFLUSH);
  }
  close(line);
}

}  // namespace quillet::platform::posix
