#include "platform/linux/X11Keyboard.h"

#include <sys/socket.h>
#include <xcb/xcbext.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/linux/XcbXkb.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr int kBits = 8;
constexpr std::uint8_t kAllModifiers = 0xFF;

std::vector<std::uint8_t> CodesOf(const std::uint8_t* bits, std::size_t bytes) {
  std::vector<std::uint8_t> codes;
  for (std::size_t i = 0; i < bytes * kBits; ++i) {
    if ((bits[i / kBits] >> (i % kBits) & 1) != 0) codes.push_back(static_cast<std::uint8_t>(i));
  }
  return codes;
}

std::vector<std::uint8_t> KeysOf(const xcb_input_query_device_state_reply_t* reply) {
  if (reply == nullptr) return {};
  auto classes = xcb_input_query_device_state_classes_iterator(reply);
  for (; classes.rem != 0; xcb_input_input_state_next(&classes)) {
    if (classes.data->class_id != XCB_INPUT_INPUT_CLASS_KEY) continue;
    const auto* const keys = reinterpret_cast<const xcb_input_key_state_t*>(classes.data);
    return CodesOf(keys->keys, sizeof keys->keys);
  }
  return {};
}

// Returns true if the X server runs on this computer. Connections forwarded by ssh(1) use TCP.
bool IsUnixSocket(int descriptor) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  return getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
         address.ss_family == AF_UNIX;
}

// Returns the codes of a device's keys that have symbols. Waits for the server's reply.
std::vector<std::uint32_t> UsedCodes(xcb_connection_t* xcb, std::uint16_t device) {
  const XcbReply<xcb_xkb_get_map_reply_t> reply{
      xcb_xkb_get_map_reply(xcb,
                            xcb_xkb_get_map(xcb, device, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, 0, 0, 0,
                                            0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
                            nullptr)};
  std::vector<std::uint32_t> codes;
  if (!reply) return codes;
  // The reply contains only key symbols.
  xcb_xkb_key_sym_map_iterator_t keys{};
  keys.data = static_cast<xcb_xkb_key_sym_map_t*>(xcb_xkb_get_map_map(reply.get()));
  keys.rem = reply->nKeySyms;
  for (std::uint32_t code = reply->firstKeySym; keys.rem > 0; ++code) {
    if (keys.data->nSyms != 0) codes.push_back(code);
    xcb_xkb_key_sym_map_next(&keys);
  }
  return codes;
}

std::string KeymapText(xkb_keymap* keymap) {
  char* const text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
  std::string result = text == nullptr ? "" : text;
  std::free(text);
  return result;
}

}  // namespace

X11Keyboard::X11Keyboard()
    : isLocal_(IsUnixSocket(xcb_get_file_descriptor(xcb_))), tester_(XCB_XKB_ID_USE_CORE_KBD) {
  if (IsBroken()) return;
  const auto* test = xcb_get_extension_data(xcb_, &xcb_test_id);
  if (test == nullptr || !test->present) return;
  canTest_ = true;
  FindDevices();
  FollowKeymap();
}

X11Keyboard::~X11Keyboard() {
  xkb_context_unref(context_);
}

void X11Keyboard::FindDevices() {
  const auto* extension = xcb_get_extension_data(xcb_, &xcb_input_id);
  if (extension == nullptr || !extension->present) return;
  const XcbReply<xcb_input_xi_query_version_reply_t> version{
      xcb_input_xi_query_version_reply(xcb_, xcb_input_xi_query_version(xcb_, 2, 0), nullptr)};
  if (!version) return;
  ReadDevices();
  hasInput_ = tester_ != XCB_XKB_ID_USE_CORE_KBD;
}

void X11Keyboard::ReadDevices() {
  const XcbReply<xcb_input_xi_query_device_reply_t> reply{xcb_input_xi_query_device_reply(
      xcb_, xcb_input_xi_query_device(xcb_, XCB_INPUT_DEVICE_ALL), nullptr)};
  if (!reply) return;
  users_.clear();
  std::uint16_t master = 0;
  auto devices = xcb_input_xi_query_device_infos_iterator(reply.get());
  for (; devices.rem != 0; xcb_input_xi_device_info_next(&devices)) {
    const auto& device = *devices.data;
    if (master == 0 && device.type == XCB_INPUT_DEVICE_TYPE_MASTER_KEYBOARD) {
      master = device.deviceid;
    }
    if (device.type != XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD || device.attachment != master) {
      continue;
    }
    const std::string_view name(xcb_input_xi_device_info_name(&device), device.name_len);
    if (name.ends_with("XTEST keyboard")) {
      tester_ = device.deviceid;
    } else {
      users_.push_back(static_cast<std::uint8_t>(device.deviceid));
    }
  }
}

void X11Keyboard::FollowKeymap() {
  if (!xkb_x11_setup_xkb_extension(
          xcb_, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
          XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &keyboardEvent_, nullptr)) {
    return;
  }
  context_ = xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES);
  SelectEvents(XCB_XKB_ID_USE_CORE_KBD);
  if (hasInput_) SelectEvents(tester_);
  LoadKeymap();
}

void X11Keyboard::SelectEvents(std::uint16_t device) {
  constexpr std::uint16_t kEvents =
      XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  constexpr std::uint16_t kParts =
      XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP |
      XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS | XCB_XKB_MAP_PART_KEY_ACTIONS |
      XCB_XKB_MAP_PART_VIRTUAL_MODS | XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
  xcb_xkb_select_events_aux(xcb_, device, kEvents, 0, kEvents, kParts, kParts, nullptr);
}

X11KeyboardState X11Keyboard::ReadState() {
  X11KeyboardState result;
  const auto keys = xcb_query_keymap(xcb_);
  const auto tested = hasInput_
                          ? xcb_input_query_device_state(xcb_, static_cast<std::uint8_t>(tester_))
                          : xcb_input_query_device_state_cookie_t{};
  if (HasKeymap()) {
    const XcbReply<xcb_xkb_get_state_reply_t> state{
        xcb_xkb_get_state_reply(xcb_, xcb_xkb_get_state(xcb_, XCB_XKB_ID_USE_CORE_KBD), nullptr)};
    if (state) {
      result.locks = {state->lockedMods, state->lockedGroup, state->latchedMods,
                      static_cast<std::uint8_t>(state->latchedGroup)};
    }
  }
  if (hasInput_) {
    const XcbReply<xcb_input_query_device_state_reply_t> reply{
        xcb_input_query_device_state_reply(xcb_, tested, nullptr)};
    result.tested = KeysOf(reply.get());
  }
  const XcbReply<xcb_query_keymap_reply_t> down{xcb_query_keymap_reply(xcb_, keys, nullptr)};
  if (down) result.down = CodesOf(down->keys, sizeof down->keys);
  return result;
}

bool X11Keyboard::IgnoresFastKeys() {
  if (!HasKeymap()) return false;
  const XcbReply<xcb_xkb_get_controls_reply_t> controls{xcb_xkb_get_controls_reply(
      xcb_, xcb_xkb_get_controls(xcb_, XCB_XKB_ID_USE_CORE_KBD), nullptr)};
  constexpr std::uint32_t kIgnoring = XCB_XKB_BOOL_CTRL_SLOW_KEYS | XCB_XKB_BOOL_CTRL_BOUNCE_KEYS;
  return controls && (controls->enabledControls & kIgnoring) != 0;
}

bool X11Keyboard::IsKeymapChanged() {
  while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(xcb_)}) {
    // All XKB events have the same type; pad0 contains the XKB subtype.
    isChanged_ =
        isChanged_ ||
        (keyboardEvent_ != 0 && (event->response_type & 0x7F) == keyboardEvent_ &&
         (event->pad0 == XCB_XKB_NEW_KEYBOARD_NOTIFY || event->pad0 == XCB_XKB_MAP_NOTIFY));
  }
  return isChanged_;
}

bool X11Keyboard::UpdateKeymap() {
  if (!IsKeymapChanged()) return false;
  isChanged_ = false;
  const std::string before = text_;
  LoadKeymap();
  return text_ != before;
}

// The server copies new symbols from the core keyboard to all other keyboards. A code must
// therefore be unused on each of them.
std::vector<std::uint32_t> X11Keyboard::SpareCodes() {
  std::vector<std::uint32_t> codes = search_->UnusedCodes(0);
  if (hasInput_) ReadDevices();
  std::vector<std::uint16_t> devices(users_.begin(), users_.end());
  devices.push_back(XCB_XKB_ID_USE_CORE_KBD);
  for (const std::uint16_t device : devices) {
    const std::vector<std::uint32_t> used = UsedCodes(xcb_, device);
    std::erase_if(codes, [&](std::uint32_t code) {
      return std::find(used.begin(), used.end(), code) != used.end();
    });
  }
  return codes;
}

// Reads the devices again, because the user may have plugged in a keyboard in the meantime.
std::vector<std::uint8_t> X11Keyboard::HeldByUser(const std::vector<std::uint8_t>& codes) {
  if (codes.empty() || !hasInput_) return {};
  ReadDevices();
  std::vector<std::uint8_t> held;
  for (const std::uint8_t device : users_) {
    const XcbReply<xcb_input_query_device_state_reply_t> reply{xcb_input_query_device_state_reply(
        xcb_, xcb_input_query_device_state(xcb_, device), nullptr)};
    const std::vector<std::uint8_t> keys = KeysOf(reply.get());
    held.insert(held.end(), keys.begin(), keys.end());
  }
  std::vector<std::uint8_t> result = codes;
  std::erase_if(result, [&](std::uint8_t code) {
    return std::find(held.begin(), held.end(), code) == held.end();
  });
  return result;
}

void X11Keyboard::Grab() {
  if (isLocal_) xcb_grab_server(xcb_);
}

void X11Keyboard::Ungrab() {
  if (isLocal_) xcb_ungrab_server(xcb_);
  xcb_flush(xcb_);
}

void X11Keyboard::PutKey(std::uint8_t code, bool down) {
  xcb_test_fake_input(xcb_, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code, XCB_CURRENT_TIME,
                      XCB_NONE, 0, 0, 0);
}

// Builds the request by hand, because XCB's function has padding in place of the latched modifiers
// (The X Keyboard Extension, appendix D, XkbLatchLockState).
void X11Keyboard::PutLocks(const X11Locks& locks, bool latches) {
  static constexpr xcb_protocol_request_t kRequest{1, &xcb_xkb_id, XCB_XKB_LATCH_LOCK_STATE, 1};
  xcb_xkb_latch_lock_state_request_t request{};
  request.deviceSpec = XCB_XKB_ID_USE_CORE_KBD;
  request.affectModLocks = kAllModifiers;
  request.modLocks = locks.lockedModifiers;
  request.lockGroup = 1;
  request.groupLock = locks.lockedGroup;
  if (latches) {
    request.affectModLatches = kAllModifiers;
    request.pad0 = locks.latchedModifiers;
    request.latchGroup = 1;
    request.groupLatch = locks.latchedGroup;
  }
  // XCB overwrites the two elements before the one passed to it.
  iovec parts[3]{};
  parts[2] = {&request, sizeof request};
  xcb_send_request(xcb_, 0, &parts[2], &kRequest);
}

void X11Keyboard::LoadKeymap() {
  const int id = hasInput_ ? tester_ : xkb_x11_get_core_keyboard_device_id(xcb_);
  xkb_keymap* const keymap =
      id < 0 ? nullptr
             : xkb_x11_keymap_new_from_device(context_, xcb_, id, XKB_KEYMAP_COMPILE_NO_FLAGS);
  std::string text = keymap == nullptr ? "" : KeymapText(keymap);
  if (text != text_) {
    search_ = keymap == nullptr ? nullptr : std::make_unique<KeymapSearch>(keymap);
    text_ = std::move(text);
  }
  xkb_keymap_unref(keymap);
}

}  // namespace quillet::platform::linux_desktop
