#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "platform/linux/X11KeyEvents.h"
#include "platform/linux/X11Windows.h"
#include "tests/support/RecordingLog.h"

namespace quillet::platform::linux_desktop {
namespace {

/// An X server of the test's own, which ends when the test says so.
class XServer {
 public:
  XServer() {
    int ready[2];
    if (pipe(ready) != 0) std::abort();
    const std::string descriptor = std::to_string(ready[1]);
    process_ = fork();
    if (process_ == 0) {
      const int nothing = open("/dev/null", O_RDWR);
      dup2(nothing, STDERR_FILENO);
      execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-nolisten", "tcp", nullptr);
      _exit(127);
    }
    close(ready[1]);
    std::string display = ":";
    for (char digit = 0; read(ready[0], &digit, 1) == 1 && digit != '\n';) display += digit;
    close(ready[0]);
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
