#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/linux/X11KeyEvents.h"
#include "platform/linux/X11Windows.h"
#include "tests/support/RecordingLog.h"

namespace quillet::platform::linux_desktop {
namespace {

/// An X server of the test's own, which ends when the test says so. Its display is no other test's:
/// a server that looks for a free number may take that of one that has just ended, and then be
/// found by those who still look for the old one.
class XServer {
 public:
  XServer() {
    const std::string display = ":" + std::to_string(kFirstDisplay + getpid() % kDisplays);
    int ready[2];
    if (pipe(ready) != 0) std::abort();
    const std::string descriptor = std::to_string(ready[1]);
    process_ = fork();
    if (process_ == 0) {
      execlp("Xvfb", "Xvfb", display.c_str(), "-displayfd", descriptor.c_str(), "-nolisten", "tcp",
             "-noreset", nullptr);
      _exit(127);
    }
    close(ready[1]);
    // The server writes a line when it listens, and none when it cannot.
    char character = 0;
    while (character != '\n' && read(ready[0], &character, 1) == 1) continue;
    close(ready[0]);
    EXPECT_EQ(character, '\n') << "Xvfb has not started";
    setenv("DISPLAY", display.c_str(), 1);
  }
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;
  ~XServer() { End(); }

  void End() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = 0;
  }

 private:
  static constexpr int kFirstDisplay = 1000;
  static constexpr int kDisplays = 50000;

  pid_t process_ = 0;
};

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
  EXPECT_EQ(windows.Active(), 0U);
  EXPECT_FALSE(windows.Activate(1, std::chrono::seconds(1)));
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

}  // namespace
}  // namespace quillet::platform::linux_desktop
