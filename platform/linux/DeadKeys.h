#pragma once

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// Returns the character that programs make of a dead key followed by the space bar, according to
/// the compose table of the locale (Compose(5)).
/// @param symbol  keysym of the dead key
/// @return one of " ' ^ ` ~, or NUL if the key makes another character or none. Any thread.
char CharacterOfDeadKey(std::uint32_t symbol);

}  // namespace quillet::platform::linux_desktop
