#include <stdlib.h>
#include <termios.h>

#include <filesystem>
#include <system_error>

#include "tests/simulator/HostPort.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

class DeviceNodeTest : public ScannerTest {
 protected:
  DeviceNodeTest() { LayCable(); }

  /// Puts a new terminal device at the node: `port` is the other end of its cable.
  void LayCable() {
    port.emplace(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    grantpt(port->Descriptor());
    unlockpt(port->Descriptor());
    fs::remove(node_);
    fs::create_symlink(ptsname(port->Descriptor()), node_);
  }

  void Serve(const std::string& node) {
    Options options = Options::Instant();
    options.device.serial = "1234567890";
    options.deviceNode = node;
    options.speed = 57'600;
    scanner.emplace(options);
    scanner->Start();
  }

  const test::TemporaryFolder folder_;
  const std::string node_ = folder_ / "ttyGS0";
};

TEST_F(DeviceNodeTest, IsServedRawAtTheSpeedOfTheLine) {
  Serve(node_);
  EXPECT_EQ(scanner->Path(), node_);
  EXPECT_EQ(port->Ask("M", 11), ToBytes("1234567890@"));
  termios settings = {};
  ASSERT_EQ(tcgetattr(port->Descriptor(), &settings), 0);
  EXPECT_EQ(settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B57600));
}

TEST_F(DeviceNodeTest, IsOpenedAgainAfterAHangUp) {
  Serve(node_);
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  port.reset();
  ASSERT_TRUE(scanner->WaitForPort(false));
  EXPECT_TRUE(scanner->IsPlugged());

  LayCable();
  ASSERT_TRUE(scanner->WaitForPort(true));
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
}

TEST_F(DeviceNodeTest, IsNotServedWhileUnplugged) {
  Serve(node_);
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  scanner->Unplug();
  port->Send("W");
  EXPECT_FALSE(scanner->WaitForCommand("W", 2, std::chrono::milliseconds(150)));
  scanner->Plug();
  EXPECT_TRUE(scanner->WaitForCommand("W", 2));
}

TEST_F(DeviceNodeTest, MustExistAtTheStart) {
  EXPECT_THROW(Serve("/no/such/device"), std::system_error);
}

}  // namespace
}  // namespace quillet::simulator
