#include "platform/linux/X11OwnKeys.h"

#include <xcb/xcb.h>

namespace quillet::platform::linux_desktop {
namespace {

// The window receives no other messages or properties, so any atom will do.
constexpr xcb_atom_t kMark = XCB_ATOM_INTEGER;

constexpr std::uint16_t kDown = 0x100;  // added to the X key code, which has eight bits
constexpr std::uint8_t kSentByClient = 0x80;

std::uint32_t MakeWindow(xcb_connection_t* xcb) {
  const std::uint32_t window = xcb_generate_id(xcb);
  const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_create_window(xcb, 0, window, xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root, 0, 0,
                    1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                    &events);
  xcb_flush(xcb);
  return window;
}

}  // namespace

void AnnounceKeys(xcb_connection_t* xcb, std::uint32_t window, std::span<const KeyStroke> strokes) {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 16;
  message.window = window;
  message.type = kMark;
  for (std::size_t i = 0; i < strokes.size(); ++i) {
    message.data.data16[i] =
        static_cast<std::uint16_t>(strokes[i].code | (strokes[i].down ? kDown : 0));
  }
  xcb_send_event(xcb, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
}

void ConfirmKeys(xcb_connection_t* xcb, std::uint32_t window) {
  xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, kMark, kMark, 32, 0, nullptr);
}

X11OwnKeys::X11OwnKeys(xcb_connection_t* xcb) : xcb_(xcb), window_(MakeWindow(xcb)) {}

X11OwnKeys::~X11OwnKeys() {
  xcb_destroy_window(xcb_, window_);
}

bool X11OwnKeys::IsOwnEvent(const void* event) {
  const auto* const any = static_cast<const xcb_generic_event_t*>(event);
  switch (any->response_type & ~kSentByClient) {
    case XCB_CLIENT_MESSAGE: {
      const auto* const message = static_cast<const xcb_client_message_event_t*>(event);
      if (message->window != window_) return false;
      for (const std::uint16_t stroke : message->data.data16) {
        if (stroke == 0) break;
        expected_.Add({static_cast<std::uint16_t>(stroke & (kDown - 1)), (stroke & kDown) != 0});
      }
      return false;
    }
    case XCB_PROPERTY_NOTIFY: {
      const auto* const change = static_cast<const xcb_property_notify_event_t*>(event);
      if (change->window == window_) expected_.SetLatest(change->time);
      return false;
    }
    case XCB_KEY_PRESS:
    case XCB_KEY_RELEASE: {
      if (any->response_type & kSentByClient) return false;
      const auto* const key = static_cast<const xcb_key_press_event_t*>(event);
      return expected_.Take(
          {static_cast<std::uint16_t>(key->detail - xcb_get_setup(xcb_)->min_keycode),
           key->response_type == XCB_KEY_PRESS},
          key->time);
    }
    default:
      return false;
  }
}

}  // namespace quillet::platform::linux_desktop
