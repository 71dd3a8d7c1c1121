#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "platform/linux/DesktopApplications.h"
#include "platform/linux/Processes.h"
#include "tests/platform/XClient.h"
#include "tests/platform/XServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using test::FileContents;
using test::WaitFor;
using Texts = std::vector<std::string>;

/// Time goes on by sleeps, and when the test says so.
class TestClock final : public Clock {
 public:
  CalendarTime LocalTime() override { return {}; }
  /// Elsewhere than on the test's thread, only the end of a process is timed.
  std::chrono::nanoseconds Now() override {
    const auto now = 1h + passed.load();
    if (std::this_thread::get_id() != test_) ++ends;
    return now;
  }
  void Sleep(std::chrono::microseconds duration) override { passed = passed.load() + duration; }

  std::atomic<std::chrono::nanoseconds> passed = 0ns;
  std::atomic<int> ends = 0;

 private:
  const std::thread::id test_ = std::this_thread::get_id();
};

// Applications that are scripts: each start adds the process's number to a file, and a started one
// runs until its folder goes.
class DesktopApplicationsTest : public ::testing::Test {
 protected:
  ~DesktopApplicationsTest() override {
    for (const int pid : Started()) kill(pid, SIGTERM);
  }

  std::string Script(const std::string& name, const std::string& lines) {
    const std::string path =
        folder_.Put(name, "#!/bin/sh\necho $$ >>'" + StartsPath() + "'\n" + lines);
    chmod(path.c_str(), 0700);
    return path;
  }

  std::string Editor(const std::string& name = "editor") {
    return Script(name, "while [ -e '" + folder_.path() + "' ]; do sleep 0.1; done\n");
  }

  std::string Entry(const std::string& command) {
    return folder_.Put("editor.desktop",
                       "[Desktop Entry]\nType=Application\nName=Editor\nExec=" + command + "\n");
  }

  std::vector<int> Started() const {
    std::istringstream text(FileContents(StartsPath()).value_or(""));
    std::vector<int> pids;
    for (int pid = 0; text >> pid;) pids.push_back(pid);
    return pids;
  }

  bool WaitForStarts(std::size_t count) {
    return WaitFor([&] { return Started().size() >= count; });
  }

  std::string StartsPath() const { return folder_ / "starts"; }

  /// How often something has been started. Starts one more and waits for it, by when what was
  /// started before has told of itself.
  std::size_t CountStarts() {
    const std::string mark = folder_ / "mark";
    const std::string marker = Script("marker", "touch '" + mark + "'\n");
    EXPECT_TRUE(DesktopApplications(false, clock_).OpenApplication(marker));
    EXPECT_TRUE(WaitFor([&] { return std::filesystem::exists(mark); }));
    return Started().size() - 1;
  }

  void Pass(std::chrono::seconds time) { clock_.passed = clock_.passed.load() + time; }

  /// Ends a process, and has that noticed before time goes on.
  void End(int pid) {
    const int ends = clock_.ends;
    kill(pid, SIGKILL);
    ASSERT_TRUE(WaitFor([&] { return clock_.ends > ends; }));
  }

  /// Opens a new application that ends as soon as it has been started, and waits until that has
  /// been noticed.
  /// @return its path
  std::string OpenHandOver(DesktopApplications& applications) {
    const std::string go = folder_ / "go";
    const std::string path = Script("handover", "until [ -e '" + go + "' ]; do sleep 0.01; done\n");
    const int ends = clock_.ends;
    EXPECT_TRUE(applications.OpenApplication(path));
    test::PutFile(go, "");
    EXPECT_TRUE(WaitFor([&] { return clock_.ends > ends; }));
    return path;
  }

  test::TemporaryFolder folder_;
  TestClock clock_;
  DesktopApplications applications_{false, clock_};
};

TEST_F(DesktopApplicationsTest, AThousandRecordsStartItOnce) {
  const std::string path = Editor();
  const std::string entry = Entry("'" + Editor("other") + "'");
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(applications_.OpenApplication(path));
    ASSERT_TRUE(applications_.OpenApplication(entry));
  }
  ASSERT_TRUE(WaitForStarts(2));
  EXPECT_EQ(Started().size(), 2U);
}

TEST_F(DesktopApplicationsTest, OneThatRunsAlreadyIsNotStarted) {
  const std::string path = Editor();
  ASSERT_TRUE(DesktopApplications(false, clock_).OpenApplication(path));
  ASSERT_TRUE(WaitForStarts(1));
  ASSERT_TRUE(WaitFor([&] { return FindProcess({path}) != 0; }));
  EXPECT_TRUE(applications_.OpenApplication(path));
  EXPECT_TRUE(applications_.OpenApplication(Entry("'" + path + "' %F")));
  EXPECT_EQ(Started().size(), 1U);
}

TEST_F(DesktopApplicationsTest, ACommandWithOtherWordsIsAnotherApplication) {
  const std::string path = Editor();
  ASSERT_TRUE(applications_.OpenApplication(Entry("'" + path + "' stock list")));
  ASSERT_TRUE(WaitForStarts(1));
  ASSERT_TRUE(WaitFor([&] { return FindProcess({path, "stock"}) != 0; }));
  EXPECT_NE(FindProcess({path, "stock", "list"}), 0);
  EXPECT_EQ(FindProcess({path, "list"}), 0);
  EXPECT_EQ(FindProcess({path, "stock", "list", "again"}), 0);
  EXPECT_EQ(FindProcess({folder_ / "absent"}), 0);
}

TEST_F(DesktopApplicationsTest, AStartThatHandsOverIsNotRepeatedForEveryRecord) {
  const std::string path = Script("handover", "exit 0\n");
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(applications_.OpenApplication(path));
    ASSERT_TRUE(WaitForStarts(1));
    EXPECT_EQ(applications_.LaunchedApplications(), Texts{path});
  }
  EXPECT_EQ(Started().size(), 1U);
}

TEST_F(DesktopApplicationsTest, AHandOverIsNotRepeatedForALateRecord) {
  const std::string path = OpenHandOver(applications_);
  for (const auto pause : {12s, 61s, 3600s}) {
    Pass(pause);
    ASSERT_TRUE(applications_.OpenApplication(path));
    EXPECT_EQ(applications_.LaunchedApplications(), Texts{path});
  }
  EXPECT_EQ(CountStarts(), 1U);
}

TEST_F(DesktopApplicationsTest, WhatHasEndedAfterNineSecondsHasHandedOver) {
  const std::string path = Editor();
  ASSERT_TRUE(applications_.OpenApplication(path));
  ASSERT_TRUE(WaitForStarts(1));
  Pass(9s);
  End(Started()[0]);
  Pass(12s);
  EXPECT_TRUE(applications_.OpenApplication(path));
  EXPECT_EQ(applications_.LaunchedApplications(), Texts{path});
  EXPECT_EQ(CountStarts(), 1U);
}

TEST_F(DesktopApplicationsTest, WhatHasEndedAfterElevenSecondsIsStartedAgain) {
  const std::string path = Editor();
  ASSERT_TRUE(applications_.OpenApplication(path));
  ASSERT_TRUE(WaitForStarts(1));
  Pass(11s);
  End(Started()[0]);
  EXPECT_EQ(applications_.LaunchedApplications(), Texts{});
  ASSERT_TRUE(applications_.OpenApplication(path));
  EXPECT_TRUE(WaitForStarts(2));
}

TEST_F(DesktopApplicationsTest, WhereWindowsTellWhatRunsAHandOverLastsForAMinute) {
  test::XServer server;
  DesktopApplications applications(true, clock_);
  const std::string path = OpenHandOver(applications);
  for (int record = 0; record < 3; ++record) {
    Pass(59s);
    ASSERT_TRUE(applications.OpenApplication(path));
  }
  EXPECT_EQ(CountStarts(), 1U);
  const std::size_t before = Started().size();
  Pass(61s);
  ASSERT_TRUE(applications.OpenApplication(path));
  EXPECT_TRUE(WaitForStarts(before + 1));
}

TEST_F(DesktopApplicationsTest, AWindowOfItsClassIsProofThatItRuns) {
  test::XServer server({"-extension", "X-Resource"});  // it knows no window's process
  test::XClient client;
  client.SetText(client.MakeWindow(), "WM_CLASS", std::string("editor\0Editor\0", 14));
  DesktopApplications applications(true, clock_);
  const std::string path = Script("editor", "exit 0\n");
  ASSERT_TRUE(applications.OpenApplication(path));
  EXPECT_EQ(applications.LaunchedApplications(), Texts{path});
  EXPECT_EQ(Started().size(), 0U);
}

TEST_F(DesktopApplicationsTest, ThisProgramsOwnWindowIsNoProof) {
  test::XServer server;
  test::XClient client;
  client.SetText(client.MakeWindow(), "WM_CLASS", std::string("editor\0Editor\0", 14));
  DesktopApplications applications(true, clock_);
  ASSERT_TRUE(applications.OpenApplication(Script("editor", "exit 0\n")));
  EXPECT_TRUE(WaitForStarts(1));
}

TEST_F(DesktopApplicationsTest, AFoundApplicationThatHasEndedIsStartedAgain) {
  const std::string path = Editor();
  ASSERT_TRUE(DesktopApplications(false, clock_).OpenApplication(path));
  ASSERT_TRUE(WaitForStarts(1));
  ASSERT_TRUE(WaitFor([&] { return FindProcess({path}) != 0; }));
  ASSERT_TRUE(applications_.OpenApplication(path));
  kill(Started()[0], SIGKILL);
  ASSERT_TRUE(WaitFor([&] { return applications_.LaunchedApplications().empty(); }));
  ASSERT_TRUE(applications_.OpenApplication(path));
  EXPECT_TRUE(WaitForStarts(2));
}

TEST_F(DesktopApplicationsTest, AStartedApplicationHasItsOwnSessionAndNullDevices) {
  // The worst of all: one that is not closed by itself.
  const int leak = open("/dev/null", O_RDONLY);
  ASSERT_TRUE(applications_.OpenApplication(Editor()));
  ASSERT_TRUE(WaitForStarts(1));
  const int pid = Started()[0];
  const std::string descriptors = "/proc/" + std::to_string(pid) + "/fd";
  for (const int standard : {0, 1, 2}) {
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + "/" + std::to_string(standard)),
              "/dev/null");
  }
  EXPECT_FALSE(std::filesystem::exists(descriptors + "/" + std::to_string(leak)));
  EXPECT_EQ(getsid(pid), pid);
  close(leak);
}

TEST_F(DesktopApplicationsTest, NoChildIsLeftToWaitFor) {
  ASSERT_TRUE(applications_.OpenApplication(Script("short", "exit 3\n")));
  ASSERT_TRUE(WaitForStarts(1));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(DesktopApplicationsTest, APathThatNamesNoApplicationIsThereAndDoesNotOpen) {
  const std::string notes = folder_ / "notes.txt";
  test::PutFile(notes, "not a program");
  chmod(notes.c_str(), 0600);
  for (const std::string& path : {notes, folder_.path(), Entry("/nowhere/program")}) {
    EXPECT_TRUE(applications_.HasApplication(path)) << path;
    EXPECT_FALSE(applications_.OpenApplication(path)) << path;
  }
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
