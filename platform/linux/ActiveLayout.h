#pragma once

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// Returns the index of the user's active keyboard layout in the layout list of GNOME or KDE
/// Plasma, or 0 if it is unknown. Any thread.
std::uint32_t ActiveLayout();

}  // namespace quillet::platform::linux_desktop
