#pragma once

#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace quillet {

/// The handle of a detached thread: empty, or claimed for one thread. Any thread may call any
/// function.
class ThreadHandle {
 public:
  /// Returns true if the handle is empty.
  bool IsEmpty() const noexcept { return !held_.load(); }

  /// Claims the handle. Returns false, without effect, if it is already claimed.
  bool Claim() noexcept {
    bool expected = false;
    return held_.compare_exchange_strong(expected, true);
  }

  /// Empties the handle. Does not end the thread.
  void Clear() noexcept { held_.store(false); }

  /// Claims the handle if it is empty, then starts the thread.
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
