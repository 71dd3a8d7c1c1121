#pragma once

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// Returns the character that a dead key followed by the space bar produces, according to the
/// compose table of the locale (Compose(5)).
/// @param symbol  keysym of the dead key
/// @return one of " ' ^ ` ~, or NUL if the key produces another character or none. Any thread.
char CharacterOfDeadKey(std::uint32_t symbol);

}  // namespace quillet::platform::linux_desktop
