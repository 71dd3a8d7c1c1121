#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/linux/X11KeyEvents.h"
#include "platform/linux/X11Windows.h"
#include "tests/platform/XServer.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"

namespace quillet::platform::linux_desktop {
namespace {

using test::XServer;

class X11ServerTest : public ::testing::Test {
 protected:
  void Press() {
    const KeyEvent press[] = {{0, true, KeyFlag::kShift}, {0, false, KeyFlag::kNone}};
    keys_.Post(press);
  }
  void ExpectLog(const std::vector<std::string>& lines) { EXPECT_EQ(log_.lines(), lines); }

  test::RecordingLog log_;
  test::FakeClock clock_;
  X11KeyEvents keys_{log_, clock_};
};

TEST_F(X11ServerTest, LogsALostServerOnceAndUsesANewServer) {
  XServer first;
  X11Windows windows;
  Press();
  ExpectLog({});
  EXPECT_TRUE(windows.IsConnected());
  first.End();
  for (int i = 0; i < 100; ++i) Press();
  ExpectLog({"Quillet cannot type on this desktop: the X server cannot be reached"});
  EXPECT_TRUE(windows.All().empty());
  EXPECT_FALSE(windows.Active());
  test::FakeClock clock;
  EXPECT_FALSE(windows.Activate(1, std::chrono::seconds(1), clock));
  EXPECT_FALSE(windows.IsConnected());
  XServer second;
  log_.Clear();
  for (int i = 0; i < 2; ++i) Press();
  ExpectLog({});
}

TEST_F(X11ServerTest, LogsAMissingServerOnce) {
  setenv("DISPLAY", "/nowhere:7", 1);
  for (int i = 0; i < 2; ++i) Press();
  ExpectLog({"Quillet cannot type on this desktop: the X server cannot be reached"});
}

TEST_F(X11ServerTest, LogsNothingIfThereIsNothingToRestore) {
  setenv("DISPLAY", "/nowhere:7", 1);
  keys_.Recover();
  XServer server({"-extension", "XTEST"});
  keys_.Recover();
  ExpectLog({});
  EXPECT_TRUE(clock_.sleeps().empty());
}

TEST_F(X11ServerTest, LogsAMissingXtestExtensionOnce) {
  XServer server({"-extension", "XTEST"});
  for (int i = 0; i < 3; ++i) Press();
  ExpectLog({"Quillet cannot type on this desktop: the X server has no XTEST extension"});
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
