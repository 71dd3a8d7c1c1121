#pragma once

#include <functional>

namespace quillet::window_tests {

/// Runs the main loop until `condition` is true. @return false after a minute
bool SpinUntil(const std::function<bool()>& condition);

/// Runs 50 passes of the main loop, which handle all pending events.
void SpinUntilIdle();

}  // namespace quillet::window_tests
