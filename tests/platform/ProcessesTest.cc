#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/Processes.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using test::WaitFor;

// A process that is found by PATH and runs until it is ended.
class Child {
 public:
  explicit Child(std::vector<std::string> command) {
    std::vector<char*> words;
    for (std::string& word : command) words.push_back(word.data());
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ != 0) return;
    execvp(words[0], words.data());
    _exit(127);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { End(); }

  void End() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }

  int pid() const { return pid_; }

 private:
  int pid_ = 0;
};

class ProcessesTest : public ::testing::Test {
 protected:
  std::string Script(const std::string& name) {
    const std::string path = folder_.Put(name, "#!/bin/sh\nwhile :; do sleep 0.1; done\n");
    chmod(path.c_str(), 0700);
    return path;
  }

  test::TemporaryFolder folder_;
};

TEST_F(ProcessesTest, AProgramWithoutAFolderIsLookedForInThePath) {
  const std::string script = Script("stock-program");
  const std::string usual = getenv("PATH");
  for (const std::string& folders :
       {folder_.path() + ":" + usual, "/nowhere::" + usual + ":" + folder_.path()}) {
    std::optional<test::Variable> path(std::in_place, "PATH", folders);
    const Child child({"stock-program", "list"});
    EXPECT_TRUE(WaitFor([&] {
      return FindProcess({"stock-program", "list"}) == child.pid();
    })) << folders;
    EXPECT_EQ(FindProcess({script}), child.pid());
    path.reset();
    EXPECT_EQ(FindProcess({"stock-program"}), 0);
  }
}

TEST_F(ProcessesTest, NothingIsFoundForNoCommand) {
  EXPECT_EQ(FindProcess({}), 0);
  EXPECT_EQ(FindProcess({""}), 0);
}

TEST_F(ProcessesTest, AProcessDescendsFromItsParentsAndItself) {
  const int pid = getpid();
  EXPECT_TRUE(IsOrDescendsFrom(pid, pid));
  EXPECT_TRUE(IsOrDescendsFrom(pid, getppid()));
  EXPECT_FALSE(IsOrDescendsFrom(getppid(), pid));
  Child child({"sleep", "600"});
  Child sibling({"sleep", "600"});
  EXPECT_TRUE(IsOrDescendsFrom(child.pid(), pid));
  EXPECT_TRUE(IsOrDescendsFrom(child.pid(), getppid()));
  EXPECT_FALSE(IsOrDescendsFrom(child.pid(), sibling.pid()));
  const int ended = child.pid();
  child.End();
  EXPECT_FALSE(IsOrDescendsFrom(ended, pid));
}

TEST_F(ProcessesTest, AParentIsFoundWhateverAProcessIsCalled) {
  // The name stands in parentheses in front of the parent's number.
  const std::string script = Script(") 1 (2) R 3");
  const Child child({script});
  ASSERT_TRUE(WaitFor([&] { return FindProcess({script}) == child.pid(); }));
  EXPECT_TRUE(IsOrDescendsFrom(child.pid(), getpid()));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
