#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "simulator/Simulator.h"
#include "tests/simulator/HostPort.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

/// A terminal device that is already there: the far end of a serial cable in the tests.
class Cable {
 public:
  /// Puts the device at this path.
  explicit Cable(const std::string& node)
      : computer_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    grantpt(computer_.descriptor());
    unlockpt(computer_.descriptor());
    fs::remove(node);
    fs::create_symlink(ptsname(computer_.descriptor()), node);
  }

  HostPort& computer() { return computer_; }

 private:
  HostPort computer_;
};

Options Serving(const std::string& node) {
  Options options = Options::Instant();
  options.device.serial = "1234567890";
  options.device_node = node;
  return options;
}

TEST(DeviceNode, IsServedAsALineOfItsOwn) {
  const test::TemporaryFolder folder;
  const std::string node = folder / "ttyGS0";
  Cable cable(node);
  Simulator scanner(Serving(node));
  scanner.Start();
  EXPECT_EQ(scanner.path(), node);
  EXPECT_EQ(cable.computer().Ask("M", 11), ToBytes("1234567890@"));
}

TEST(DeviceNode, IsSetRawAndToTheLinesSpeed) {
  const test::TemporaryFolder folder;
  const std::string node = folder / "ttyGS0";
  Cable cable(node);
  Options options = Serving(node);
  options.speed = 57'600;
  Simulator scanner(options);
  scanner.Start();
  termios settings = {};
  ASSERT_EQ(tcgetattr(cable.computer().descriptor(), &settings), 0);
  EXPECT_EQ(settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B57600));
}

TEST(DeviceNode, IsOpenedAgainAfterAHangUp) {
  const test::TemporaryFolder folder;
  const std::string node = folder / "ttyGS0";
  auto cable = std::make_unique<Cable>(node);
  Simulator scanner(Serving(node));
  scanner.Start();
  EXPECT_EQ(cable->computer().Ask("W", 1), ToBytes("@"));
  cable.reset();
  ASSERT_TRUE(scanner.WaitForPort(false));
  EXPECT_TRUE(scanner.IsPlugged());

  cable = std::make_unique<Cable>(node);
  ASSERT_TRUE(scanner.WaitForPort(true));
  EXPECT_EQ(cable->computer().Ask("W", 1), ToBytes("@"));
}

TEST(DeviceNode, IsNotServedWhileUnplugged) {
  const test::TemporaryFolder folder;
  const std::string node = folder / "ttyGS0";
  Cable cable(node);
  Simulator scanner(Serving(node));
  scanner.Start();
  EXPECT_EQ(cable.computer().Ask("W", 1), ToBytes("@"));
  scanner.Unplug();
  cable.computer().Send("W");
  EXPECT_FALSE(scanner.WaitForCommand("W", 2, std::chrono::milliseconds(150)));
  scanner.Plug();
  EXPECT_TRUE(scanner.WaitForCommand("W", 2));
}

TEST(DeviceNode, MustBeThereAtTheStart) {
  Simulator scanner(Serving("/no/such/device"));
  EXPECT_THROW(scanner.Start(), std::system_error);
}

}  // namespace
}  // namespace quillet::simulator
