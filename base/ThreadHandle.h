#pragma once

#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace quillet {

/// The handle of a thread that nobody joins: empty, or holding a started thread. The threads of
/// this program end by themselves or with the process.
class ThreadHandle {
 public:
  /// Whether no thread is held. Any thread, as all operations.
  bool empty() const noexcept { return !held_.load(); }

  /// Takes an empty handle for the caller; false when it is held already.
  bool Claim() noexcept {
    bool expected = false;
    return held_.compare_exchange_strong(expected, true);
  }

  /// Empties the handle. The thread that it held goes on.
  void Clear() noexcept { held_.store(false); }

  /// Starts a thread and holds it, whatever was held before.
  /// @return false, with the handle empty, when the system has no thread to give.
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
