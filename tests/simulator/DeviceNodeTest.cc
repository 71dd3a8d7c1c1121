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
  DeviceNodeTest() {
    options.deviceNode = folder_ / "ttyGS0";
    options.speed = 57'600;
    CreateNode();
  }

  /// Creates a terminal and links the device node to it. `port` is the computer's end of the line.
  void CreateNode() {
    port.emplace(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    grantpt(port->Descriptor());
    unlockpt(port->Descriptor());
    fs::remove(options.deviceNode);
    fs::create_symlink(ptsname(port->Descriptor()), options.deviceNode);
  }

  void Serve() {
    scanner.emplace(options);
    scanner->Start();
  }

  const test::TemporaryFolder folder_;
};

TEST_F(DeviceNodeTest, IsSetToRawModeAndTheGivenLineSpeed) {
  Serve();
  EXPECT_EQ(scanner->Path(), options.deviceNode);
  EXPECT_EQ(port->Ask("M", 11), ToBytes("1234567890@"));
  termios settings = {};
  ASSERT_EQ(tcgetattr(port->Descriptor(), &settings), 0);
  EXPECT_EQ(settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B57600));
}

TEST_F(DeviceNodeTest, IsReopenedAfterHangUp) {
  Serve();
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  port.reset();
  ASSERT_TRUE(scanner->WaitForPort(false));
  EXPECT_TRUE(scanner->IsPlugged());

  CreateNode();
  ASSERT_TRUE(scanner->WaitForPort(true));
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
}

TEST_F(DeviceNodeTest, ReceivesNoCommandsWhileUnplugged) {
  Serve();
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  scanner->Unplug();
  port->Send("W");
  EXPECT_FALSE(scanner->WaitForCommand("W", 2, std::chrono::milliseconds(150)));
  scanner->Plug();
  EXPECT_TRUE(scanner->WaitForCommand("W", 2));
}

TEST_F(DeviceNodeTest, StartFailsIfTheDeviceIsMissing) {
  options.deviceNode = "/no/such/device";
  EXPECT_THROW(Serve(), std::system_error);
}

}  // namespace
}  // namespace quillet::simulator
