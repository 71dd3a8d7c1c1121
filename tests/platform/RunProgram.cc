#include "tests/platform/RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace quillet::test {

namespace {

struct Pipe {
  Pipe() {
    if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
  }
  std::array<int, 2> ends{};
};

void Collect(pollfd& source, std::string& text) {
  if (source.revents == 0) return;
  std::array<char, 4096> part{};
  const ssize_t got = read(source.fd, part.data(), part.size());
  if (got > 0) {
    text.append(part.data(), static_cast<std::size_t>(got));
  } else {
    close(source.fd);
    source.fd = -1;
  }
}

}  // namespace

ProgramResult RunProgram(std::vector<std::string> arguments, const std::set<int>& closed) {
  std::vector<char*> words;
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  const Pipe output;
  const Pipe errors;
  const pid_t child = fork();
  if (child == 0) {
    dup2(output.ends[1], STDOUT_FILENO);
    dup2(errors.ends[1], STDERR_FILENO);
    for (const int number : closed) close(number);
    execvp(words[0], words.data());
    _exit(127);
  }
  close(output.ends[1]);
  close(errors.ends[1]);
  ProgramResult result;
  std::array<pollfd, 2> sources{pollfd{output.ends[0], POLLIN, 0},
                                pollfd{errors.ends[0], POLLIN, 0}};
  while (sources[0].fd >= 0 || sources[1].fd >= 0) {
    poll(sources.data(), sources.size(), -1);
    Collect(sources[0], result.output);
    Collect(sources[1], result.errors);
  }
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return result;
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
