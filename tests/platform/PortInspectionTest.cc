#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "base/UniqueFd.h"
#include "platform/linux/PortInspection.h"
#include "tests/platform/Child.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using Kind = PortObstacle::Kind;

constexpr uid_t kNobody = 65534;

class PortInspectionTest : public testing::Test {
 protected:
  PortInspectionTest() { EXPECT_EQ(grantpt(terminal_.Get()) + unlockpt(terminal_.Get()), 0); }

  /// Inspects a port as an unprivileged user. @return 0 if the result is `expected`
  int InspectAsNobody(const std::string& path, PortObstacle expected) {
    return test::Child([&] {
             if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return 1;
             const PortObstacle found = InspectPort(path);
             return found.kind == expected.kind && found.group == expected.group ? 0 : 2;
           })
        .Wait();
  }

  UniqueFd terminal_{posix_openpt(O_RDWR | O_NOCTTY)};
  const std::string port_ = ptsname(terminal_.Get());
};

TEST_F(PortInspectionTest, NamesTheProgramThatLocksThePort) {
  EXPECT_EQ(InspectPort(port_).kind, Kind::kNone);
  test::Child other([&] {
    const int port = open(port_.c_str(), O_RDWR | O_NOCTTY);
    return flock(port, LOCK_EX) == 0 ? pause() : 1;
  });
  PortObstacle found;
  EXPECT_TRUE(test::WaitFor([&] {
    found = InspectPort(port_);
    return found.kind == Kind::kBusy;
  }));
  EXPECT_EQ(found.program, "desktop_tests");
  other.Kill();
  EXPECT_EQ(InspectPort(port_).kind, Kind::kNone);
}

TEST_F(PortInspectionTest, NamesTheGroupThatMayUseThePort) {
  const test::TemporaryFolder folder;
  const std::string port = folder.Put("port", "");
  if (geteuid() == 0 && chown(port.c_str(), 0, 20) != 0) GTEST_SKIP() << "not permitted";
  chmod(port.c_str(), S_IRGRP | S_IWGRP);
  if (geteuid() == 0) {
    EXPECT_EQ(InspectAsNobody(port, {.kind = Kind::kPermission, .group = "dialout"}), 0);
  }
  chmod(port.c_str(), 0);
  EXPECT_EQ(InspectAsNobody(port, {.kind = Kind::kPermission, .group = ""}), 0);
}

TEST_F(PortInspectionTest, FindsNoObstacleIfThePortIsMissing) {
  EXPECT_EQ(InspectPort("/nowhere/port").kind, Kind::kNone);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
