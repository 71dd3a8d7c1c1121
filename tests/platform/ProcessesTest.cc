#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/linux/Processes.h"
#include "tests/platform/Child.h"
#include "tests/platform/ScriptApplications.h"
#include "tests/support/Variable.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

test::Child Start(const std::vector<std::string>& command) {
  return test::Child([&] { return test::Execute(command); });
}

bool WaitUntilFound(const std::vector<std::string>& command, int pid) {
  return test::WaitFor([&] { return FindProcess(command) == pid; });
}

TEST(ProcessesTest, FindsAProgramOnThePath) {
  const test::ScriptApplications scripts;
  const std::string script = scripts.InstallEditor("stock-program");
  const std::string folder = scripts.folder.path();
  const std::string usual = getenv("PATH");
  for (const std::string& folders : {folder + ":" + usual, "/nowhere::" + usual + ":" + folder}) {
    const test::Variable path("PATH", folders);
    const test::Child child = Start({"stock-program", "list"});
    EXPECT_TRUE(WaitUntilFound({"stock-program", "list"}, child.pid())) << folders;
    EXPECT_EQ(FindProcess({script}), child.pid());
    const test::Variable without("PATH", usual);
    EXPECT_EQ(FindProcess({"stock-program"}), 0);
  }
}

TEST(ProcessesTest, FindsAProcessByTheStartOfItsCommandLine) {
  const test::ScriptApplications scripts;
  const std::string path = scripts.InstallEditor();
  const test::Child child = Start({path, "stock", "list"});
  EXPECT_TRUE(WaitUntilFound({path, "stock"}, child.pid()));
  EXPECT_EQ(FindProcess({path, "stock", "list"}), child.pid());
  const std::vector<std::string> others[] = {
      {path, "list"}, {path, "stock", "list", "again"}, {scripts.folder / "absent"}, {""}, {}};
  for (const auto& command : others) EXPECT_EQ(FindProcess(command), 0) << command.size();
}

TEST(ProcessesTest, RecognizesAProcessAndItsDescendants) {
  const int pid = getpid();
  EXPECT_TRUE(IsOrDescendsFrom(pid, pid));
  EXPECT_TRUE(IsOrDescendsFrom(pid, getppid()));
  EXPECT_FALSE(IsOrDescendsFrom(getppid(), pid));
  test::Child child = Start({"sleep", "600"});
  const test::Child sibling = Start({"sleep", "600"});
  EXPECT_TRUE(IsOrDescendsFrom(child.pid(), pid));
  EXPECT_TRUE(IsOrDescendsFrom(child.pid(), getppid()));
  EXPECT_FALSE(IsOrDescendsFrom(child.pid(), sibling.pid()));
  const int ended = child.pid();
  child.Kill();
  EXPECT_FALSE(IsOrDescendsFrom(ended, pid));
}

TEST(ProcessesTest, FindsTheParentDespiteParenthesesInTheName) {
  // In /proc/PID/stat the parent's process ID follows the name, which is in parentheses.
  const test::ScriptApplications scripts;
  const std::string script = scripts.InstallEditor(") 1 (2) R 3");
  const test::Child child = Start({script});
  ASSERT_TRUE(WaitUntilFound({script}, child.pid()));
  EXPECT_TRUE(IsOrDescendsFrom(child.pid(), getpid()));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
