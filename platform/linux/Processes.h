#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/UniqueFd.h"
#include "platform/Clock.h"

namespace quillet::platform::linux_desktop {

/// Finds a process that the current user started with a command (proc(5)). A script is matched by
/// its path, regardless of its interpreter. The process may have further arguments.
/// @param command  program and arguments
/// @return the process ID, or 0 if no process was found
int FindProcess(const std::vector<std::string>& command);

/// Splits a sequence of NUL-terminated strings. The last NUL may be missing.
std::vector<std::string> SplitAtNuls(const std::string& texts);

/// Returns true if `process` is `ancestor` or one of its descendants.
bool IsOrDescendsFrom(int process, int ancestor);

/// Records the time when another process ends. The process need not be a child. A thread waits for
/// the process to end (pidfd_open(2)), since the system does not record the time. Any thread.
class WatchedProcess {
 public:
  /// @param pid    process ID
  /// @param clock  used on the waiting thread; must outlive this object
  WatchedProcess(int pid, Clock& clock);
  WatchedProcess(const WatchedProcess&) = delete;
  WatchedProcess& operator=(const WatchedProcess&) = delete;
  ~WatchedProcess();

  /// Returns true if the process existed and can be watched.
  bool IsKnown() const { return thread_.joinable(); }

  /// Returns the time when the process ended, or no value while it is running. Requires IsKnown().
  std::optional<std::chrono::nanoseconds> End() const;

 private:
  void WaitForEnd();

  Clock& clock_;
  const UniqueFd process_;        // pidfd; becomes readable when the process ends
  const UniqueFd stop_;           // eventfd; the destructor makes it readable
  std::chrono::nanoseconds end_;  // written before ended_
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

}  // namespace quillet::platform::linux_desktop
