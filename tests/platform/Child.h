#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace quillet::test {

/// A child process. The destructor kills it.
class Child {
 public:
  /// @param work  function to run in the child; returns the child's exit status
  explicit Child(const std::function<int()>& work) : pid_(fork()) {
    if (pid_ == 0) _exit(work());
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { Kill(); }

  int pid() const { return pid_; }

  void Kill() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    Wait();
  }

  /// Waits until the process has ended.
  /// @return the exit status, or -N if signal N ended the process
  int Wait() {
    int status = 0;
    waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t pid_;
};

/// Replaces this process with a program found on PATH. @return 127 on failure
inline int Execute(std::vector<std::string> command) {
  std::vector<char*> words;
  for (std::string& word : command) words.push_back(word.data());
  words.push_back(nullptr);
  execvp(words[0], words.data());
  return 127;
}

}  // namespace quillet::test
