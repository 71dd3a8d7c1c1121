#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "base/UniqueFd.h"

namespace quillet::platform::linux_desktop {

/// A process that is no child of this one, and when it ended. The system tells that it has ended to
/// whoever looks, but not when: a thread of this object's own sleeps until then (pidfd_open(2)).
///
/// Any thread.
class WatchedProcess {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Now = std::function<Time()>;

  /// @param pid  the process's number
  /// @param now  gives the time; called on the thread of this object's own
  WatchedProcess(int pid, Now now);
  WatchedProcess(const WatchedProcess&) = delete;
  WatchedProcess& operator=(const WatchedProcess&) = delete;
  ~WatchedProcess();

  /// Whether there is such a process, ended or not, and the system lets it be watched.
  bool IsKnown() const { return process_.IsOpen(); }

  /// When it ended; nothing while it runs. Only where IsKnown.
  std::optional<Time> End() const;

 private:
  void WaitForEnd(const Now& now);

  const UniqueFd process_;  // readable once that has ended
  const UniqueFd stop_;     // readable once nobody wants to know any more
  Time end_;                // written before ended_
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

}  // namespace quillet::platform::linux_desktop
