#include "platform/posix/ProcessExit.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

// LeakSanitizer's check (sanitizer/lsan_interface.h), which normally runs as an exit handler. Null
// in builds without the sanitizer. Undefined weak symbols need ELF.
#ifdef __ELF__
extern "C" __attribute__((weak)) void __lsan_do_leak_check();
#else
constexpr void (*__lsan_do_leak_check)() = nullptr;
#endif

namespace quillet::platform::posix {

void EnsureStandardDescriptors() {
  // open() returns the lowest free number, so the loop opens 0, 1 and 2 first (open(3p)).
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

void LeaveLikewiseOnExit(SyslogLog& log) {
  static SyslogLog* logOfExit = nullptr;
  logOfExit = &log;
  std::atexit([] { LeaveProcess(EXIT_FAILURE, *logOfExit); });
}

}  // namespace quillet::platform::posix
