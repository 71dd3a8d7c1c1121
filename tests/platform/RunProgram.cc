#include "tests/platform/RunProgram.h"

#include <fcntl.h>

#include "tests/platform/Child.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::test {

ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::set<int>& closed) {
  const TemporaryFolder folder;
  const std::string output = folder.Put("output", "");
  const std::string errors = folder.Put("errors", "");
  Child child([&] {
    dup2(open(output.c_str(), O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    dup2(open(errors.c_str(), O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    for (const int number : closed) close(number);
    return Execute(arguments);
  });
  const int status = child.Wait();
  return {status, FileContents(output).value_or(""), FileContents(errors).value_or("")};
}

std::vector<std::string> InOwnNamespace(const std::vector<std::string>& options,
                                        const std::vector<std::string>& arguments) {
  std::vector<std::string> all{"bwrap", "--dev-bind", "/", "/"};
  all.insert(all.end(), options.begin(), options.end());
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

bool OwnNamespaceWorks() {
  static const bool works = RunProgram(InOwnNamespace({"--dev", "/dev"}, {"true"})).status == 0;
  return works;
}

}  // namespace quillet::test
