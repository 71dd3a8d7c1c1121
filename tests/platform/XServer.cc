#include "tests/platform/XServer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace quillet::test {
namespace {

// The display is no other test's: a server that looks for a free number may take that of one that
// has just ended, and then be found by those who still look for the old one.
constexpr int kFirstDisplay = 1000;
constexpr int kDisplays = 50000;

}  // namespace

XServer::XServer(const std::vector<std::string>& options) {
  const std::string display = ":" + std::to_string(kFirstDisplay + getpid() % kDisplays);
  int ready[2];
  if (pipe(ready) != 0) std::abort();
  std::vector<std::string> words = {"Xvfb",      display, "-displayfd", std::to_string(ready[1]),
                                    "-nolisten", "tcp",   "-noreset"};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  process_ = fork();
  if (process_ == 0) {
    execvp(arguments[0], arguments.data());
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

void XServer::End() {
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = 0;
}

}  // namespace quillet::test
