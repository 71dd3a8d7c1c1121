#pragma once

#include <chrono>
#include <thread>

namespace quillet::test {

/// Waits until `condition` returns true.
/// @param limit  time-out, which should be much longer than a loaded machine needs
/// @return false if the condition is still false after `limit`
template <class Condition>
bool WaitFor(Condition&& condition, std::chrono::seconds limit = std::chrono::seconds(60)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace quillet::test
