// Runs code of platform/posix in a separate process for the tests. For usage, see main().

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <thread>

#include "platform/posix/PosixFileStore.h"
#include "platform/posix/ProcessExit.h"
#include "platform/posix/SyslogLog.h"

namespace {

using quillet::platform::posix::LeaveProcess;
using quillet::platform::posix::SyslogLog;

/// Writes lines to the system log and ends the process at once.
[[noreturn]] void WriteLog(int lines) {
  SyslogLog log;
  for (int i = 0; i < lines; ++i) log.Write("line " + std::to_string(i) + " of 100% %s%n");
  LeaveProcess(0, log);
}

int ReplaceFile(const std::string& path, std::size_t bytes) {
  quillet::platform::posix::PosixFileStore store;
  return store.Replace(path, std::string(bytes, 'n')) ? 0 : 1;
}

/// Opens the standard descriptors that are closed.
/// @return 10 plus a mask: bit N is set if descriptor N is now the null device. Less than 10 if a
///         standard descriptor is still closed or another descriptor was opened.
int CheckDescriptors() {
  struct stat nullDevice {};
  struct stat status {};
  if (stat("/dev/null", &nullDevice) != 0) return 1;
  const bool wasOpen = fstat(STDERR_FILENO + 1, &status) == 0;
  quillet::platform::posix::EnsureStandardDescriptors();
  if (wasOpen != (fstat(STDERR_FILENO + 1, &status) == 0)) return 2;
  int nullDescriptors = 0;
  for (int number = 0; number <= STDERR_FILENO; ++number) {
    if (fstat(number, &status) != 0) return 3;
    if (status.st_rdev == nullDevice.st_rdev) nullDescriptors |= 1 << number;
  }
  return 10 + nullDescriptors;
}

struct DiesWhenDestroyed {
  ~DiesWhenDestroyed() { std::abort(); }
};

/// Ends the process while another thread is running, output is unflushed and a log line is pending.
/// If `status` is empty, calls exit(3), as a library might.
[[noreturn]] void Leave(std::optional<int> status) {
  static const DiesWhenDestroyed neverDestroyed;
  std::atexit([] { std::abort(); });
  std::thread([] {
    while (true) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }).detach();
  static SyslogLog log([](std::string_view message) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::fwrite(message.data(), 1, message.size(), stdout);
  });
  log.Write("a line of the log");
  if (status) LeaveProcess(*status, log);
  quillet::platform::posix::LeaveLikewiseOnExit(log);
  std::exit(7);
}

[[noreturn]] void LeaveLeaking() {
  void* volatile lost = nullptr;
  for (int i = 0; i < 100; ++i) lost = std::malloc(4321);
  if (lost == nullptr) std::abort();
  lost = nullptr;
  static SyslogLog log([](std::string_view) {});
  LeaveProcess(0, log);
}

/// Restarts the process while a log line is pending and a descriptor without FD_CLOEXEC is open.
/// After the restart, returns the number of open descriptors besides the standard ones.
int Restart(char** arguments) {
  static SyslogLog log([](std::string_view message) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::cout << message << std::flush;
  });
  if (std::getenv("RESTARTED") == nullptr) {
    setenv("RESTARTED", "1", 1);
    if (dup(STDOUT_FILENO) < 0) return EXIT_FAILURE;
    log.Write("a line of the log");
    quillet::platform::posix::RestartProcess(arguments, log);
  }
  std::cout << "|" << arguments[2];
  const int lowest = dup(STDOUT_FILENO);
  return lowest - STDERR_FILENO - 1;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  if (what == "log") WriteLog(std::atoi(arguments[2]));
  if (what == "replace") return ReplaceFile(arguments[2], std::strtoul(arguments[3], nullptr, 10));
  if (what == "descriptors") return CheckDescriptors();
  if (what == "leave") Leave(std::atoi(arguments[2]));
  if (what == "exit") Leave(std::nullopt);
  if (what == "leave-leaking") LeaveLeaking();
  if (what == "restart") return Restart(arguments);
  std::cerr << "unknown: " << what << '\n';
  return 64;
}
