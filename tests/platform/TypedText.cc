#include "tests/platform/TypedText.h"

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <memory>

#include "platform/linux/XcbXkb.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {
namespace {

using Event = std::unique_ptr<xcb_generic_event_t, decltype(&std::free)>;

constexpr int kGroupShift = 13;  // position of the group's lowest bit in an event's state

}  // namespace

TypedText::TypedText()
    : xcb_(xcb_connect(nullptr, nullptr)), context_(xkb_context_new(XKB_CONTEXT_NO_FLAGS)) {
  xkb_x11_setup_xkb_extension(xcb_, 1, 0, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
                              &keyboardEvent_, nullptr);
  constexpr std::uint16_t kEvents =
      XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  xcb_xkb_select_events_aux(xcb_, XCB_XKB_ID_USE_CORE_KBD, kEvents, 0, kEvents, 0xFF, 0xFF,
                            nullptr);
  ReadKeymap();
  const std::uint32_t window = xcb_generate_id(xcb_);
  const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;
  xcb_create_window(xcb_, XCB_COPY_FROM_PARENT, window,
                    xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root, 0, 0, 10, 10, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                    &events);
  xcb_map_window(xcb_, window);
  xcb_set_input_focus(xcb_, XCB_INPUT_FOCUS_NONE, window, XCB_CURRENT_TIME);
  std::free(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
}

TypedText::~TypedText() {
  xkb_keymap_unref(keymap_);
  xkb_context_unref(context_);
  xcb_disconnect(xcb_);
}

const std::string& TypedText::Text() {
  while (const Event event{xcb_poll_for_event(xcb_), std::free}) {
    const int type = event->response_type & 0x7F;
    if (type == XCB_KEY_PRESS) Take(*reinterpret_cast<xcb_key_press_event_t*>(event.get()));
    if (type == keyboardEvent_) ReadKeymap();
  }
  return text_;
}

std::string TypedText::WaitFor(const std::string& expected) {
  test::WaitFor([&] { return Text().size() >= expected.size(); });
  return text_;
}

int TypedText::Group() {
  xcb_xkb_get_state_reply_t* const reply =
      xcb_xkb_get_state_reply(xcb_, xcb_xkb_get_state(xcb_, XCB_XKB_ID_USE_CORE_KBD), nullptr);
  const int group = reply->group;
  std::free(reply);
  return group;
}

void TypedText::LockGroup(int group) {
  xcb_xkb_latch_lock_state(xcb_, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, static_cast<std::uint8_t>(group),
                           0, 0, 0);
}

int TypedText::LockedModifiers() {
  xcb_xkb_get_state_reply_t* const reply =
      xcb_xkb_get_state_reply(xcb_, xcb_xkb_get_state(xcb_, XCB_XKB_ID_USE_CORE_KBD), nullptr);
  const int modifiers = reply->lockedMods;
  std::free(reply);
  return modifiers;
}

void TypedText::LockModifiers(int modifiers) {
  xcb_xkb_latch_lock_state(xcb_, XCB_XKB_ID_USE_CORE_KBD, 0xFF,
                           static_cast<std::uint8_t>(modifiers), 0, 0, 0, 0, 0);
}

void TypedText::SetControls(std::uint32_t controls, bool on) {
  const std::array<std::uint8_t, 32> repeat{};
  xcb_xkb_set_controls(xcb_, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, controls,
                       on ? controls : 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                       repeat.data());
  std::free(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
}

int TypedText::KeysDown() {
  xcb_query_keymap_reply_t* const reply =
      xcb_query_keymap_reply(xcb_, xcb_query_keymap(xcb_), nullptr);
  int count = 0;
  for (const std::uint8_t bits : reply->keys) count += std::popcount(bits);
  std::free(reply);
  return count;
}

void TypedText::ReadKeymap() {
  xkb_keymap_unref(keymap_);
  keymap_ = xkb_x11_keymap_new_from_device(
      context_, xcb_, xkb_x11_get_core_keyboard_device_id(xcb_), XKB_KEYMAP_COMPILE_NO_FLAGS);
}

void TypedText::Take(const xcb_key_press_event_t& event) {
  xkb_state* const state = xkb_state_new(keymap_);
  xkb_state_update_mask(state, event.state & 0xFF, 0, 0, 0, 0, event.state >> kGroupShift & 3);
  const xkb_keysym_t symbol = xkb_state_key_get_one_sym(state, event.detail);
  xkb_state_unref(state);
  const bool control = (event.state & XCB_MOD_MASK_CONTROL) != 0;
  if (symbol == XKB_KEY_Insert && (event.state & 0xFF) == XCB_MOD_MASK_SHIFT) shortcuts_ += "^I";
  if (control && (symbol | 0x20) == XKB_KEY_v) shortcuts_ += "^V";
  if (control) return;
  if (symbol == XKB_KEY_Return) text_ += '\n';
  if (symbol == XKB_KEY_Tab) text_ += '\t';
  if (symbol >= ' ' && symbol <= '~') text_ += static_cast<char>(symbol);
}

}  // namespace quillet::test
