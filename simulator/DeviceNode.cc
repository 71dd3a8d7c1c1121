#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <utility>

#include "simulator/Descriptor.h"
#include "simulator/Endpoint.h"

namespace quillet::simulator {
namespace {

class DeviceNode final : public Endpoint {
 public:
  DeviceNode(std::string node, std::uint64_t bits_per_second)
      : node_(std::move(node)), bits_per_second_(bits_per_second) {}

  void Open() override {
    if (line_) return;
    line_ = Descriptor(::open(node_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC),
                       node_.c_str());
    SetRaw(line_.get(), bits_per_second_);
  }

  void Close() override { line_.Reset(); }
  int descriptor() const override { return line_.get(); }
  std::string path() const override { return node_; }
  bool IsPortOpen() override { return static_cast<bool>(line_); }

  bool HasUnreadOutput() override {
    int waiting = 0;
    return line_ && ioctl(line_.get(), TIOCOUTQ, &waiting) == 0 && waiting > 0;
  }

  void DiscardOutput() override {
    if (line_) tcflush(line_.get(), TCOFLUSH);
  }

  Transfer Read(std::span<std::uint8_t> buffer) override { return ReadNow(line_.get(), buffer); }
  Transfer Write(std::span<const std::uint8_t> bytes) override {
    return WriteNow(line_.get(), bytes);
  }

 private:
  std::string node_;
  std::uint64_t bits_per_second_;
  Descriptor line_;
};

}  // namespace

std::unique_ptr<Endpoint> MakeDeviceNode(std::string node, std::uint64_t bits_per_second) {
  return std::make_unique<DeviceNode>(std::move(node), bits_per_second);
}

}  // namespace quillet::simulator
