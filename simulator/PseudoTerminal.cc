#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "simulator/Descriptor.h"
#include "simulator/Endpoint.h"

namespace quillet::simulator {
namespace {

/// The scanner holds the master side. It does not keep the slave side open: so it can see whether
/// the computer has its port open, and what is sent while it has not is lost as on a real line.
class PseudoTerminal final : public Endpoint {
 public:
  explicit PseudoTerminal(TerminalMode mode) : mode_(mode) {}

  void Open() override {
    if (master_) return;
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
    if (grantpt(master.get()) != 0) throw Failure("grantpt");
    if (unlockpt(master.get()) != 0) throw Failure("unlockpt");
    const char* name = ptsname(master.get());
    if (name == nullptr) throw Failure("ptsname");
    path_ = name;
    const int flags = fcntl(master.get(), F_GETFL);
    if (flags < 0 || fcntl(master.get(), F_SETFL, flags | O_NONBLOCK) != 0) throw Failure("fcntl");

    // Its settings outlive the closing as long as the master is open. It must be opened once in any
    // case: only a slave that was open and is not any more shows as closed.
    const Descriptor slave = OpenSlave();
    if (!slave) throw Failure(path_.c_str());
    if (mode_ == TerminalMode::kRaw) SetRaw(slave.get(), 0);
    master_ = std::move(master);
  }

  void Close() override {
    probe_.Reset();
    master_.Reset();
  }

  int descriptor() const override { return master_.get(); }
  std::string path() const override { return path_; }

  bool IsPortOpen() override { return master_ && (PollNow(master_.get(), 0) & POLLHUP) == 0; }

  bool HasUnreadOutput() override {
    if (!IsPortOpen()) return false;
    // Only the slave's own side knows what waits there. Kept until Close(), which follows: while it
    // is open the computer's closing cannot be seen.
    if (!probe_) probe_ = OpenSlave();
    return probe_ && (PollNow(probe_.get(), POLLIN) & POLLIN) != 0;
  }

  void DiscardOutput() override {
    if (!master_) return;
    // What is under way, and what has already arrived at the slave, which only its own side
    // forgets.
    tcflush(master_.get(), TCOFLUSH);
    if (const Descriptor slave = OpenSlave()) tcflush(slave.get(), TCIFLUSH);
  }

  Transfer Read(std::span<std::uint8_t> buffer) override { return ReadNow(master_.get(), buffer); }
  Transfer Write(std::span<const std::uint8_t> bytes) override {
    return WriteNow(master_.get(), bytes);
  }

 private:
  static std::system_error Failure(const char* what) {
    return {errno, std::generic_category(), what};
  }

  Descriptor OpenSlave() const {
    const int number = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    return number < 0 ? Descriptor() : Descriptor(number, path_.c_str());
  }

  TerminalMode mode_;
  std::string path_;
  Descriptor master_;
  Descriptor probe_;
};

}  // namespace

std::unique_ptr<Endpoint> MakePseudoTerminal(TerminalMode mode) {
  return std::make_unique<PseudoTerminal>(mode);
}

}  // namespace quillet::simulator
