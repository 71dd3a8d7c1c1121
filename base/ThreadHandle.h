#pragma once

#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace quillet {

/// The handle of a detached thread: empty, or held for a started thread. Any thread may call any
/// function.
class ThreadHandle {
 public:
  /// Whether the handle is empty.
  bool empty() const noexcept { return !held_.load(); }

  /// Takes the handle if it is empty. Returns false if it is already held.
  bool Claim() noexcept {
    bool expected = false;
    return held_.compare_exchange_strong(expected, true);
  }

  /// Empties the handle. The thread continues.
  void Clear() noexcept { held_.store(false); }

  /// Starts a thread and holds the handle for it, even if the handle is already held.
  /// @return false if the system cannot start a thread; the handle is then empty.
  template <class Body>
  bool Start(Body&& body) {
    try {
      held_.store(true);
      std::thread(std::forward<Body>(body)).detach();
      return true;
    } catch (const std::system_error&) {
      held_.store(false);
      return false;
    }
  }

 private:
  std::atomic<bool> held_{false};
};

}  // namespace quillet
