#pragma once

#include <wayland-util.h>

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// The interface of the Wayland protocol org_kde_kwin_keystate, version 5.
const wl_interface& KeyStateInterface();

/// Request: sends the event for each key.
inline constexpr std::uint32_t kFetchStates = 0;

/// Event: a KeyStateKey; its state, which is 0 if it is not active, 1 if it is latched, 2 if it is
/// locked, and 3 if it is pressed.
inline constexpr std::uint32_t kStateChanged = 0;

/// Keys of the protocol. Those after Scroll Lock were added in version 5.
enum KeyStateKey : std::uint32_t {
  kCapsLockState = 0,
  kAltState = 3,
  kShiftState = 4,
  kControlState = 5,
  kSuperState = 6,
  kAltGrState = 7,
};

}  // namespace quillet::platform::linux_desktop
