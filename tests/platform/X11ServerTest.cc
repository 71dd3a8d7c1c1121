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

TEST(X11ServerTest, AServerThatGoesTakesNothingWithItAndIsOneLogLine) {
  XServer server;
  test::RecordingLog log;
  X11KeyEvents keys(log);
  X11Windows windows;
  const KeyEvent press[] = {{0, true, KeyFlag::kShift}, {0, false, KeyFlag::kNone}};
  keys.Post(press);
  EXPECT_EQ(log.lines(), std::vector<std::string>{});
  EXPECT_TRUE(windows.IsConnected());
  server.End();
  for (int i = 0; i < 100; ++i) keys.Post(press);
  EXPECT_EQ(log.lines(), std::vector<std::string>{
                             "Cannot type on this desktop: the X server cannot be reached"});
  EXPECT_TRUE(windows.All().empty());
  EXPECT_FALSE(windows.Active());
  test::FakeClock clock;
  EXPECT_FALSE(windows.Activate(1, std::chrono::seconds(1), clock));
  EXPECT_FALSE(windows.IsConnected());
}

TEST(X11ServerTest, AServerThatComesBackIsUsedAgain) {
  test::RecordingLog log;
  X11KeyEvents keys(log);
  const KeyEvent press[] = {{0, true, KeyFlag::kNone}, {0, false, KeyFlag::kNone}};
  {
    XServer first;
    keys.Post(press);
  }
  keys.Post(press);
  XServer second;
  log.Clear();
  keys.Post(press);
  keys.Post(press);
  EXPECT_EQ(log.lines(), std::vector<std::string>{});
}

TEST(X11ServerTest, AMissingTestExtensionIsLoggedOnce) {
  XServer server({"-extension", "XTEST"});
  test::RecordingLog log;
  X11KeyEvents keys(log);
  const KeyEvent press[] = {{0, true, KeyFlag::kNone}, {0, false, KeyFlag::kNone}};
  for (int i = 0; i < 3; ++i) keys.Post(press);
  EXPECT_EQ(log.lines(), std::vector<std::string>{
                             "Cannot type on this desktop: the X server has no XTEST extension"});
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
