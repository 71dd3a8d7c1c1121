#include "platform/linux/Processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <memory>
#include <string_view>

#include "base/Retry.h"

namespace quillet::platform::linux_desktop {
namespace {

// Ancestors that are looked at; more than a desktop's processes have.
constexpr int kGenerations = 32;

// The file's contents, as much as there is: a process may end while its files are being read, and
// the read then fails (proc(5)). The standard's streams throw in that case.
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

// Empty where there is no such file.
std::string RealPath(const std::string& path) {
  std::error_code error;
  const auto real = std::filesystem::canonical(path, error);
  return error ? std::string() : real.string();
}

std::string InSearchPath(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  const char* folders = getenv("PATH");
  std::string_view rest = folders == nullptr ? "/usr/bin:/bin" : folders;
  while (!rest.empty()) {
    std::string path = std::string(rest.substr(0, rest.find(':'))) + "/" + program;
    if (access(path.c_str(), X_OK) == 0) return path;
    rest.remove_prefix(std::min(rest.find(':'), rest.size() - 1) + 1);
  }
  return program;
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
  if (words.empty()) return false;  // a kernel's thread, or one that has ended
  if (FollowsWith(words, 1, command) && RealPath(process + "/exe") == program) return true;
  return words.size() > 1 && words[1].starts_with('/') && FollowsWith(words, 2, command) &&
         RealPath(words[1]) == program;
}

int Parent(int process) {
  // pid (name) state ppid ...; the name may hold anything, parentheses too.
  const std::string text = Contents("/proc/" + std::to_string(process) + "/stat");
  const std::size_t name = text.rfind(") ");
  int parent = 0;
  if (name != std::string::npos && text.size() > name + 4) {
    std::from_chars(text.data() + name + 4, text.data() + text.size(), parent);
  }
  return parent;
}

// By its number: the C library of Debian 12 knows the call, that of older systems does not.
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
    const std::string_view name = entry->d_name;
    int pid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (error != std::errc() || end != name.data() + name.size() || pid == getpid()) continue;
    const std::string path = "/proc/" + std::string(name);
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
  if (IsKnown()) thread_ = std::thread([this] { WaitForEnd(); });
}

WatchedProcess::~WatchedProcess() {
  if (!thread_.joinable()) return;
  eventfd_write(stop_.Get(), 1);
  thread_.join();
}

std::optional<std::chrono::nanoseconds> WatchedProcess::End() const {
  pollfd look{process_.Get(), POLLIN, 0};
  if (poll(&look, 1, 0) <= 0) return std::nullopt;
  ended_.wait(false);  // the thread notes it at once
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
