#pragma once

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// Returns the position of the user's active keyboard layout among the layouts in the settings of
/// GNOME or KDE Plasma, counted from 0; 0 if it is not known. Any thread.
std::uint32_t ActiveLayout();

}  // namespace quillet::platform::linux_desktop
