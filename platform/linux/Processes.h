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

/// The number of a process of this user that was started by a command, 0 if there is none. A script
/// counts as started by its name, whatever interpreter runs it. Further words, such as files to
/// open, do not matter. Reads proc(5).
int FindProcess(const std::vector<std::string>& command);

/// The texts of which each ends with a NUL, the last one perhaps without.
std::vector<std::string> SplitAtNuls(const std::string& texts);

/// Whether a process is another one or descends from it.
bool IsOrDescendsFrom(int process, int ancestor);

/// A process that is not a child of this one, and when it ended. The system reports that it has
/// ended, but not when, so a thread waits for its end (pidfd_open(2)). Any thread.
class WatchedProcess {
 public:
  /// @param pid    the process's number
  /// @param clock  gives the time, on this object's thread; it outlives this object
  WatchedProcess(int pid, Clock& clock);
  WatchedProcess(const WatchedProcess&) = delete;
  WatchedProcess& operator=(const WatchedProcess&) = delete;
  ~WatchedProcess();

  /// Whether there is such a process, ended or not, and the system lets it be watched.
  bool IsKnown() const { return process_.IsOpen(); }

  /// When it ended, by the clock; nothing while it runs. Only where IsKnown.
  std::optional<std::chrono::nanoseconds> End() const;

 private:
  void WaitForEnd();

  Clock& clock_;
  const UniqueFd process_;        // readable once that has ended
  const UniqueFd stop_;           // readable once this object is destroyed
  std::chrono::nanoseconds end_;  // written before ended_
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

}  // namespace quillet::platform::linux_desktop
