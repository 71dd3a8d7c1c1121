#include "platform/posix/ProcessExit.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

// LeakSanitizer's check (sanitizer/lsan_interface.h), which normally runs as an exit handler. Null
// in builds without the sanitizer. Undefined weak symbols need ELF.
#ifdef __ELF__
extern "C" __attribute__((weak)) void __lsan_do_leak_check();
#else
constexpr void (*__lsan_do_leak_check)() = nullptr;
#endif

namespace quillet::platform::posix {
namespace {

constexpr std::chrono::seconds kLongestFlush{1};

}  // namespace

void EnsureStandardDescriptors() {
  // open() returns the lowest free descriptor, so the loop opens 0, 1 and 2 first (open(3p)).
  int number = 0;
  do {
    number = open("/dev/null", O_RDWR);
  } while (number >= 0 && number <= STDERR_FILENO);
  if (number >= 0) close(number);
}

void LeaveProcess(int status, SyslogLog& log, std::chrono::milliseconds longestFlush) {
  log.Flush(longestFlush);
  std::fflush(nullptr);
  if (__lsan_do_leak_check != nullptr) __lsan_do_leak_check();
  _exit(status);
}

void RestartProcess(char* const* arguments, SyslogLog& log) {
  log.Flush(kLongestFlush);
  std::fflush(nullptr);
  std::error_code error;
  // Some libraries open descriptors without FD_CLOEXEC.
  for (std::filesystem::directory_iterator entry("/dev/fd", error), end; !error && entry != end;
       entry.increment(error)) {
    const int descriptor = std::atoi(entry->path().filename().c_str());
    if (descriptor > STDERR_FILENO) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  }
  // The path of the program on Linux (proc(5)). If an update has replaced the program, execv() with
  // this path fails, and argv[0] names the new program.
  const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) execv(path.c_str(), arguments);
  execvp(arguments[0], arguments);
  _exit(EXIT_FAILURE);
}

void LeaveLikewiseOnExit(SyslogLog& log) {
  static SyslogLog* logOfExit = nullptr;
  logOfExit = &log;
  std::atexit([] { LeaveProcess(EXIT_FAILURE, *logOfExit); });
}

}  // namespace quillet::platform::posix
