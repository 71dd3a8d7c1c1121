#include "platform/linux/Processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>

#include "base/Retry.h"

namespace quillet::platform::linux_desktop {
namespace {

// Maximum number of ancestor processes to check. Desktop processes have fewer.
constexpr int kGenerations = 32;

// Reads a file up to its end or an error. Reading a file in /proc fails if its process ends in the
// meantime (proc(5)).
std::string Contents(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string contents;
  char bytes[4096];
  for (;;) {
    const ssize_t count = RetryOnSignal([&] { return read(file.Get(), bytes, sizeof bytes); });
    if (count <= 0) return contents;
    contents.append(bytes, static_cast<std::size_t>(count));
  }
}

std::string RealPath(const std::string& path) {
  std::error_code error;
  const auto real = std::filesystem::canonical(path, error);
  return error ? std::string() : real.string();
}

std::string InSearchPath(const std::string& program) {
  const std::unique_ptr<char, decltype(&g_free)> path(g_find_program_in_path(program.c_str()),
                                                      g_free);
  return path ? path.get() : program;
}

bool FollowsWith(const std::vector<std::string>& words, std::size_t from,
                 const std::vector<std::string>& command) {
  return words.size() - from >= command.size() - 1 &&
         std::equal(command.begin() + 1, command.end(),
                    words.begin() + static_cast<std::ptrdiff_t>(from));
}

bool WasStartedBy(const std::string& process, const std::vector<std::string>& command,
                  const std::string& program) {
  const auto words = SplitAtNuls(Contents(process + "/cmdline"));
  if (words.empty()) return false;  // a kernel thread or a process that has exited
  if (FollowsWith(words, 1, command) && RealPath(process + "/exe") == program) return true;
  return words.size() > 1 && words[1].starts_with('/') && FollowsWith(words, 2, command) &&
         RealPath(words[1]) == program;
}

int Parent(int process) {
  // The text is "pid (name) state ppid ...". The name can contain parentheses.
  const std::string text = Contents("/proc/" + std::to_string(process) + "/stat");
  const std::size_t name = text.rfind(") ");
  if (name == std::string::npos || text.size() <= name + 4) return 0;
  return static_cast<int>(strtol(text.c_str() + name + 4, nullptr, 10));
}

// Older C libraries have no pidfd_open function.
int OpenProcess(int pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

}  // namespace

std::vector<std::string> SplitAtNuls(const std::string& texts) {
  std::vector<std::string> split;
  for (std::size_t start = 0; start < texts.size();) {
    const std::size_t end = std::min(texts.find('\0', start), texts.size());
    split.push_back(texts.substr(start, end - start));
    start = end + 1;
  }
  return split;
}

int FindProcess(const std::vector<std::string>& command) {
  if (command.empty()) return 0;
  const std::string program = RealPath(InSearchPath(command[0]));
  if (program.empty()) return 0;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
  if (!folder) return 0;
  while (const dirent* entry = readdir(folder.get())) {
    const auto pid = static_cast<int>(strtol(entry->d_name, nullptr, 10));
    if (pid == 0 || pid == getpid()) continue;
    const std::string path = "/proc/" + std::to_string(pid);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || status.st_uid != getuid()) continue;
    if (WasStartedBy(path, command, program)) return pid;
  }
  return 0;
}

bool IsOrDescendsFrom(int process, int ancestor) {
  for (int i = 0; i < kGenerations && process > 1; ++i) {
    if (process == ancestor) return true;
    process = Parent(process);
  }
  return false;
}

WatchedProcess::WatchedProcess(int pid, Clock& clock)
    : clock_(clock), process_(OpenProcess(pid)), stop_(eventfd(0, EFD_CLOEXEC)) {
  if (!process_.IsOpen() || !stop_.IsOpen()) return;
  try {
    thread_ = std::thread([this] { WaitForEnd(); });
  } catch (const std::system_error&) {
    // Without the thread, IsKnown returns false.
  }
}

WatchedProcess::~WatchedProcess() {
  if (!thread_.joinable()) return;
  eventfd_write(stop_.Get(), 1);
  thread_.join();
}

std::optional<std::chrono::nanoseconds> WatchedProcess::End() const {
  pollfd look{process_.Get(), POLLIN, 0};
  if (poll(&look, 1, 0) <= 0) return std::nullopt;
  ended_.wait(false);  // the waiting thread is about to set ended_
  return end_;
}

void WatchedProcess::WaitForEnd() {
  pollfd events[] = {{process_.Get(), POLLIN, 0}, {stop_.Get(), POLLIN, 0}};
  RetryOnSignal([&] { return poll(events, 2, -1); });
  if (events[0].revents == 0) return;
  end_ = clock_.Now();
  ended_ = true;
  ended_.notify_all();
}

}  // namespace quillet::platform::linux_desktop
