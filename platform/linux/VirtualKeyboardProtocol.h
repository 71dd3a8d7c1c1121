#pragma once

#include <wayland-util.h>

#include <cstdint>

namespace quillet::platform::linux_desktop {

/// The interfaces of the Wayland protocol virtual-keyboard-unstable-v1, version 1, which has no
/// events.

const wl_interface& VirtualKeyboardManagerInterface();  ///< zwp_virtual_keyboard_manager_v1
const wl_interface& VirtualKeyboardInterface();         ///< zwp_virtual_keyboard_v1

/// Opcode of the manager's request to create a keyboard. Arguments: seat, new keyboard.
inline constexpr std::uint32_t kCreateVirtualKeyboard = 0;

/// Opcodes of the requests to a keyboard. The comments list the arguments.
enum VirtualKeyboardRequest : std::uint32_t {
  kKeymap,     ///< format, descriptor, size
  kKey,        ///< time in milliseconds, evdev code, 1 for a press or 0 for a release
  kModifiers,  ///< XKB masks of depressed, latched and locked modifiers; group
};

}  // namespace quillet::platform::linux_desktop
