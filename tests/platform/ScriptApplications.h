#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <sstream>
#include <string>
#include <vector>

#include "base/UniqueFd.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::test {

/// Shell scripts that act as applications. Each start appends the process ID to a file.
class ScriptApplications {
  UniqueFd writer_;  // outlives `folder`; closing the descriptor ends the waiting scripts

 public:
  ScriptApplications() {
    mkfifo(Fifo().c_str(), 0600);
    writer_ = UniqueFd(open(Fifo().c_str(), O_RDWR | O_CLOEXEC));
  }

  /// Installs a script with these lines as an application. @return its path
  std::string Install(const std::string& name, const std::string& lines) const {
    const std::string path =
        folder.Put(name, "#!/bin/sh\necho $$ >>'" + folder / "starts" + "'\n" + lines);
    chmod(path.c_str(), 0700);
    return path;
  }

  /// Installs an application that runs `lines` and then waits until it is killed or the test ends.
  /// The script waits without a child process. Until a child calls exec, its command line is the
  /// script's.
  std::string InstallEditor(const std::string& name = "editor",
                            const std::string& lines = "") const {
    return Install(name, lines + "read _ <'" + Fifo() + "'\n");
  }

  /// Returns the IDs of all started processes, in order.
  std::vector<int> Started() const {
    std::istringstream text(FileContents(folder / "starts").value_or(""));
    std::vector<int> pids;
    for (int pid = 0; text >> pid;) pids.push_back(pid);
    return pids;
  }

  const TemporaryFolder folder;

 private:
  std::string Fifo() const { return folder / "fifo"; }
};

}  // namespace quillet::test
