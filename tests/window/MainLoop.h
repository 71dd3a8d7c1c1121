#pragma once

#include <functional>

namespace quillet::window_tests {

/// Runs passes of the main loop until the condition holds. Gives up after a minute, which is no
/// limit of what is tested but an end for a test that has failed.
/// @return whether the condition holds
bool SpinUntil(const std::function<bool()>& condition);

/// Runs passes of the main loop until nothing has been left to do for a number of them.
void SpinUntilIdle();

}  // namespace quillet::window_tests
