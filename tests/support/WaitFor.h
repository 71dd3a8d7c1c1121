#pragma once

#include <chrono>
#include <thread>

namespace quillet::test {

/// Waits until `condition` holds. The limit is far beyond what a loaded machine needs; reaching it
/// means that the thing never happens.
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
