#include "simulator/Endpoint.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/Retry.h"

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

constexpr std::pair<std::uint64_t, speed_t> kSpeeds[] = {
    {1200, B1200},   {2400, B2400},   {4800, B4800},     {9600, B9600},    {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400}};

std::system_error Failure(const std::string& what) {
  return {errno, std::generic_category(), what};
}

UniqueFd OpenTerminal(const std::string& path) {
  return UniqueFd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

/// Sets a terminal to raw mode, and sets the speed if it is in kSpeeds. Ignores failures.
void SetRaw(int descriptor, std::uint64_t bitsPerSecond) {
  termios settings = {};
  if (tcgetattr(descriptor, &settings) != 0) return;
  cfmakeraw(&settings);
  settings.c_iflag &= ~static_cast<tcflag_t>(IXOFF);
  settings.c_cflag |= CREAD | CLOCAL;
  for (const auto& [speed, code] : kSpeeds) {
    if (speed != bitsPerSecond) continue;
    cfsetispeed(&settings, code);
    cfsetospeed(&settings, code);
  }
  tcsetattr(descriptor, TCSANOW, &settings);
}

/// Returns the descriptor's current poll(2) events, without waiting.
int PollNow(int descriptor, short events) {
  pollfd entry{descriptor, events, 0};
  return ::poll(&entry, 1, 0) > 0 ? entry.revents : 0;
}

Endpoint::Transfer ResultOf(ssize_t count) {
  if (count >= 0) return {static_cast<std::size_t>(count), false};
  return {0, errno != EAGAIN && errno != EWOULDBLOCK};
}

/// The simulator keeps only the master side open, so it can detect whether the computer has the
/// port open. Bytes sent while the port is closed are lost, as on a real line.
class PseudoTerminal final : public Endpoint {
 public:
  explicit PseudoTerminal(TerminalMode mode) : mode_(mode) {}

  void Open() override {
    if (line_.IsOpen()) return;
    UniqueFd master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!master.IsOpen()) throw Failure("posix_openpt");
    if (grantpt(master.Get()) != 0) throw Failure("grantpt");
    if (unlockpt(master.Get()) != 0) throw Failure("unlockpt");
    const char* name = ptsname(master.Get());
    if (name == nullptr) throw Failure("ptsname");
    path_ = name;
    const int flags = fcntl(master.Get(), F_GETFL);
    if (flags < 0 || fcntl(master.Get(), F_SETFL, flags | O_NONBLOCK) != 0) throw Failure("fcntl");

    // The master reports a closed slave only after the slave has been opened once. The slave's
    // settings persist while the master is open.
    const UniqueFd slave = OpenTerminal(path_);
    if (!slave.IsOpen()) throw Failure(path_);
    if (mode_ == TerminalMode::kRaw) SetRaw(slave.Get(), 0);
    line_ = std::move(master);
  }

  void Close() override {
    probe_.Close();
    line_.Close();
  }

  bool IsPortOpen() const override {
    return line_.IsOpen() && (PollNow(line_.Get(), 0) & POLLHUP) == 0;
  }

  bool HasUnreadOutput() override {
    if (!IsPortOpen()) return false;
    // Only the slave side reports unread bytes. IsPortOpen() is true while the probe keeps the
    // slave open. The caller calls Close() soon afterwards, which closes the probe.
    if (!probe_.IsOpen()) probe_ = OpenTerminal(path_);
    return probe_.IsOpen() && (PollNow(probe_.Get(), POLLIN) & POLLIN) != 0;
  }

  void DiscardOutput() override {
    // The master side cannot discard bytes that have already reached the slave, so both sides are
    // flushed.
    tcflush(line_.Get(), TCOFLUSH);
    const UniqueFd slave = OpenTerminal(path_);
    if (slave.IsOpen()) tcflush(slave.Get(), TCIFLUSH);
  }

 private:
  TerminalMode mode_;
  UniqueFd probe_;
};

class DeviceNode final : public Endpoint {
 public:
  DeviceNode(const std::string& node, std::uint64_t bitsPerSecond) : bitsPerSecond_(bitsPerSecond) {
    path_ = node;
  }

  void Open() override {
    if (line_.IsOpen()) return;
    line_ = OpenTerminal(path_);
    if (!line_.IsOpen()) throw Failure(path_);
    SetRaw(line_.Get(), bitsPerSecond_);
  }

  bool IsPortOpen() const override { return line_.IsOpen(); }

  bool HasUnreadOutput() override {
    int waiting = 0;
    return line_.IsOpen() && ioctl(line_.Get(), TIOCOUTQ, &waiting) == 0 && waiting > 0;
  }

  void DiscardOutput() override { tcflush(line_.Get(), TCOFLUSH); }

 private:
  std::uint64_t bitsPerSecond_;
};

}  // namespace

Endpoint::Transfer Endpoint::Read(std::span<std::uint8_t> buffer) {
  const ssize_t count =
      RetryOnSignal([&] { return ::read(line_.Get(), buffer.data(), buffer.size()); });
  // If no bytes are available, read(2) fails with EAGAIN. A result of 0 means a hang-up.
  return count == 0 ? Transfer{0, true} : ResultOf(count);
}

Endpoint::Transfer Endpoint::Write(std::span<const std::uint8_t> bytes) {
  return ResultOf(RetryOnSignal([&] { return ::write(line_.Get(), bytes.data(), bytes.size()); }));
}

std::unique_ptr<Endpoint> MakePseudoTerminal(TerminalMode mode) {
  return std::make_unique<PseudoTerminal>(mode);
}

std::unique_ptr<Endpoint> MakeDeviceNode(const std::string& node, std::uint64_t bitsPerSecond) {
  return std::make_unique<DeviceNode>(node, bitsPerSecond);
}

void PathLink::PointTo(const std::string& target) {
  if (path_.empty()) return;
  const fs::file_status status = fs::symlink_status(path_);
  if (fs::exists(status) && !fs::is_symlink(status)) {
    throw std::system_error(std::make_error_code(std::errc::file_exists),
                            path_ + " exists and is not a symbolic link");
  }
  // rename(2) replaces an existing link atomically.
  const std::string fresh = path_ + ".new." + std::to_string(getpid());
  std::error_code ignored;
  fs::remove(fresh, ignored);
  fs::create_symlink(target, fresh);
  std::error_code error;
  fs::rename(fresh, path_, error);
  if (error) {
    fs::remove(fresh, ignored);
    throw std::system_error(error, path_);
  }
  target_ = target;
}

void PathLink::Remove() {
  if (target_.empty()) return;
  std::error_code error;
  if (fs::read_symlink(path_, error) == target_ && !error) fs::remove(path_, error);
  target_.clear();
}

}  // namespace quillet::simulator
