#pragma once

#include <functional>

namespace quillet::window_tests {

/// Runs the main loop until `condition` is true.
/// @return false if `condition` is still false after a minute
bool SpinUntil(const std::function<bool()>& condition);

/// Runs 50 iterations of the main loop, enough to handle all pending events.
void SpinUntilIdle();

}  // namespace quillet::window_tests
