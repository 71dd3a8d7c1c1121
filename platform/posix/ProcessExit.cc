#include "platform/posix/ProcessExit.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

// The leak check of the address sanitizer, which otherwise runs as one of the exit handlers that
// are passed over here. Nobody else defines it: it is absent, and its address null, in a program
// that is built without (sanitizer/lsan_interface.h). Only ELF's linkers leave such a name open.
#ifdef __ELF__
extern "C" __attribute__((weak)) void __lsan_do_leak_check();
#else
constexpr void (*__lsan_do_leak_check)() = nullptr;
#endif

namespace quillet::platform::posix {

void EnsureStandardDescriptors() {
  // open() gives the lowest free number (open(3p)), so the gaps fill up from below.
  int number = 0;
  do {
    number = open("/dev/null", O_RDWR);
  } while (number >= 0 && number <= STDERR_FILENO);
  if (number >= 0) close(number);
}

void LeaveProcess(int status, SyslogLog& log) {
  constexpr std::chrono::seconds kLongestFlush{5};
  log.Flush(kLongestFlush);
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
