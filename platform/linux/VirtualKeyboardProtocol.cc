#include "platform/linux/VirtualKeyboardProtocol.h"

#include <wayland-client-protocol.h>

#include <iterator>

namespace quillet::platform::linux_desktop {

// Each letter of a signature is the type of an argument: u for uint, h for descriptor, o for
// object, n for new object. The array after the signature contains the interface of each object
// argument, and null for other arguments (libwayland, struct wl_message).

const wl_interface& VirtualKeyboardInterface() {
  static const wl_interface* kNoObjects[4] = {};
  static const wl_message kRequests[] = {{"keymap", "uhu", kNoObjects},
                                         {"key", "uuu", kNoObjects},
                                         {"modifiers", "uuuu", kNoObjects},
                                         {"destroy", "", kNoObjects}};
  static const wl_interface kInterface = {
      "zwp_virtual_keyboard_v1", 1, std::size(kRequests), kRequests, 0, nullptr};
  return kInterface;
}

const wl_interface& VirtualKeyboardManagerInterface() {
  static const wl_interface* kObjects[] = {&wl_seat_interface, &VirtualKeyboardInterface()};
  static const wl_message kRequests[] = {{"create_virtual_keyboard", "on", kObjects}};
  static const wl_interface kInterface = {
      "zwp_virtual_keyboard_manager_v1", 1, std::size(kRequests), kRequests, 0, nullptr};
  return kInterface;
}

}  // namespace quillet::platform::linux_desktop
