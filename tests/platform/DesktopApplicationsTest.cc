#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/linux/DesktopApplications.h"
#include "tests/platform/ScriptApplications.h"
#include "tests/platform/XClient.h"
#include "tests/platform/XServer.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using test::WaitFor;
using Texts = std::vector<std::string>;

/// A clock that advances only when a thread sleeps or the test advances it.
class TestClock final : public Clock {
 public:
  CalendarTime LocalTime() override { return {}; }
  std::chrono::nanoseconds Now() override {
    const auto now = 1h + passed.load();
    // The backend's threads read the time only when a process has ended.
    if (std::this_thread::get_id() != test_) ++ends;
    return now;
  }
  void Sleep(std::chrono::microseconds duration) override { passed = passed.load() + duration; }
  void SetSleepSlack(std::chrono::microseconds) override {}

  std::atomic<std::chrono::nanoseconds> passed = 0ns;
  std::atomic<int> ends = 0;

 private:
  const std::thread::id test_ = std::this_thread::get_id();
};

class DesktopApplicationsTest : public ::testing::Test {
 protected:
  std::string Entry(const std::string& command) {
    return scripts_.folder.Put(
        "editor.desktop", "[Desktop Entry]\nType=Application\nName=Editor\nExec=" + command + "\n");
  }

  bool WaitForStarts(std::size_t count) {
    return WaitFor([&] { return scripts_.Started().size() >= count; });
  }

  /// Installs and opens an application and waits until it has started. @return its path
  std::string OpenEditor(DesktopApplications& applications) {
    const std::string path = scripts_.InstallEditor();
    EXPECT_TRUE(applications.OpenApplication(path));
    EXPECT_TRUE(WaitForStarts(1));
    return path;
  }

  /// Starts an additional application and waits for it, so that all pending starts are recorded.
  /// @return the number of recorded starts, not counting the additional one
  std::size_t CountStarts() {
    const std::string mark = scripts_.folder / "mark";
    const std::string marker = scripts_.Install("marker", ": >'" + mark + "'\n");
    EXPECT_TRUE(DesktopApplications(false, clock_).OpenApplication(marker));
    EXPECT_TRUE(WaitFor([&] { return std::filesystem::exists(mark); }));
    return scripts_.Started().size() - 1;
  }

  void Pass(std::chrono::seconds time) { clock_.passed = clock_.passed.load() + time; }

  /// Advances the clock by `age`, then ends the application that was started first.
  void EndAfter(std::chrono::seconds age) {
    Pass(age);
    const int ends = clock_.ends;
    kill(scripts_.Started().at(0), SIGKILL);
    ASSERT_TRUE(WaitFor([&] { return clock_.ends > ends; }));
  }

  /// Opens an application while the test's process has a window with the application's WM_CLASS.
  void OpenWithWindow(const Texts& serverOptions) {
    test::XServer server(serverOptions);
    test::XClient client;
    client.SetText(client.MakeWindow(), "WM_CLASS", std::string("editor\0Editor\0", 14));
    DesktopApplications applications(true, clock_);
    const std::string path = scripts_.Install("editor", "exit 0\n");
    ASSERT_TRUE(applications.OpenApplication(path));
    EXPECT_EQ(applications.LaunchedApplications(), Texts{path});
  }

  test::ScriptApplications scripts_;
  TestClock clock_;
  DesktopApplications applications_{false, clock_};
};

TEST_F(DesktopApplicationsTest, StartsOneProcessForAThousandRecords) {
  const std::string path = scripts_.InstallEditor();
  const std::string entry = Entry("'" + scripts_.InstallEditor("other") + "'");
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(applications_.OpenApplication(path));
    ASSERT_TRUE(applications_.OpenApplication(entry));
  }
  ASSERT_TRUE(WaitForStarts(2));
  EXPECT_EQ(CountStarts(), 2U);
}

TEST_F(DesktopApplicationsTest, DoesNotStartARunningApplication) {
  DesktopApplications others(false, clock_);
  const std::string path = OpenEditor(others);
  EXPECT_TRUE(applications_.OpenApplication(path));
  EXPECT_TRUE(applications_.OpenApplication(Entry("'" + path + "' %F")));
  EXPECT_EQ(CountStarts(), 1U);
}

TEST_F(DesktopApplicationsTest, DoesNotRestartAnApplicationThatExitsImmediately) {
  const std::string path = scripts_.Install("handover", "exit 0\n");
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(applications_.OpenApplication(path));
    ASSERT_TRUE(WaitForStarts(1));
    EXPECT_EQ(applications_.LaunchedApplications(), Texts{path});
  }
  EXPECT_EQ(CountStarts(), 1U);
}

TEST_F(DesktopApplicationsTest, DoesNotRestartAnApplicationThatRanForNineSeconds) {
  const std::string path = OpenEditor(applications_);
  EndAfter(9s);
  for (const auto pause : {12s, 61s, 3600s}) {
    Pass(pause);
    ASSERT_TRUE(applications_.OpenApplication(path));
    EXPECT_EQ(applications_.LaunchedApplications(), Texts{path});
  }
  EXPECT_EQ(CountStarts(), 1U);
}

TEST_F(DesktopApplicationsTest, RestartsAnApplicationThatRanForElevenSeconds) {
  const std::string path = OpenEditor(applications_);
  EndAfter(11s);
  EXPECT_EQ(applications_.LaunchedApplications(), Texts{});
  ASSERT_TRUE(applications_.OpenApplication(path));
  EXPECT_TRUE(WaitForStarts(2));
}

TEST_F(DesktopApplicationsTest, RestartsAnApplicationUnusedForAMinuteOnX11) {
  test::XServer server;
  DesktopApplications applications(true, clock_);
  const std::string path = OpenEditor(applications);
  EndAfter(0s);
  for (int record = 0; record < 3; ++record) {
    Pass(59s);
    ASSERT_TRUE(applications.OpenApplication(path));
  }
  EXPECT_EQ(CountStarts(), 1U);
  const std::size_t before = scripts_.Started().size();
  Pass(61s);
  ASSERT_TRUE(applications.OpenApplication(path));
  EXPECT_TRUE(WaitForStarts(before + 1));
}

TEST_F(DesktopApplicationsTest, DoesNotStartAnApplicationThatHasAWindow) {
  OpenWithWindow({"-extension", "X-Resource"});  // the server does not report the window's process
  EXPECT_EQ(CountStarts(), 0U);
}

TEST_F(DesktopApplicationsTest, IgnoresWindowsOfThisProgram) {
  OpenWithWindow({});
  EXPECT_TRUE(WaitForStarts(1));
}

TEST_F(DesktopApplicationsTest, RestartsAKilledApplicationThatItDidNotStart) {
  DesktopApplications others(false, clock_);
  const std::string path = OpenEditor(others);
  ASSERT_TRUE(applications_.OpenApplication(path));
  kill(scripts_.Started().at(0), SIGKILL);
  ASSERT_TRUE(WaitFor([&] { return applications_.LaunchedApplications().empty(); }));
  ASSERT_TRUE(applications_.OpenApplication(path));
  EXPECT_TRUE(WaitForStarts(2));
}

TEST_F(DesktopApplicationsTest, ApplicationsDoNotInheritSessionOrDescriptors) {
  const int leak = open("/dev/null", O_RDONLY);  // without close-on-exec
  std::string links;
  for (const int descriptor : {0, 1, 2, leak}) {
    links += " /proc/$$/fd/" + std::to_string(descriptor);
  }
  const std::string devices = scripts_.folder / "devices";
  ASSERT_TRUE(applications_.OpenApplication(scripts_.InstallEditor(
      "editor", "devices=$(readlink" + links + ")\necho \"$devices\" >'" + devices + "'\n")));
  EXPECT_TRUE(
      WaitFor([&] { return test::FileContents(devices) == "/dev/null\n/dev/null\n/dev/null\n"; }));
  const int pid = scripts_.Started().at(0);
  EXPECT_EQ(getsid(pid), pid);
  close(leak);
}

TEST_F(DesktopApplicationsTest, LeavesNoZombieProcess) {
  ASSERT_TRUE(applications_.OpenApplication(scripts_.Install("short", "exit 3\n")));
  ASSERT_TRUE(WaitForStarts(1));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(DesktopApplicationsTest, DoesNotOpenAPathThatIsNotAnApplication) {
  const std::string notes = scripts_.folder.Put("notes.txt", "not a program");
  for (const std::string& path : {notes, scripts_.folder.path(), Entry("/nowhere/program")}) {
    EXPECT_TRUE(applications_.HasApplication(path)) << path;
    EXPECT_FALSE(applications_.OpenApplication(path)) << path;
  }
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
