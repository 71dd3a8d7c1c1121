#pragma once

#include <wayland-util.h>

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// The interface of the Wayland protocol org_kde_kwin_keystate, version 5.
const wl_interface& KeyStateInterface();

/// Opcode of the request that makes the compositor send kStateChanged for each key.
inline constexpr std::uint32_t kFetchStates = 0;

/// Opcode of the event that reports the state of a key. Arguments: a KeyStateKey; its state, which
/// is 0 for inactive, 1 for latched, 2 for locked, 3 for pressed.
inline constexpr std::uint32_t kStateChanged = 0;

/// Keys whose state the protocol reports. Those after Scroll Lock were added in version 5.
enum KeyStateKey : std::uint32_t {
  kCapsLockState = 0,
  kAltState = 3,
  kShiftState = 4,
  kControlState = 5,
  kSuperState = 6,
  kAltGrState = 7,
};

}  // namespace quillet::platform::linux_desktop
