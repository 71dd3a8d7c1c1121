#include "tests/platform/XClient.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace quillet::test {
namespace {

template <class T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

}  // namespace

XClient::XClient()
    : xcb_(xcb_connect(nullptr, nullptr)),
      root_(xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root) {}

XClient::~XClient() {
  xcb_disconnect(xcb_);
}

std::uint32_t XClient::MakeWindow() {
  windows_.push_back(xcb_generate_id(xcb_));
  xcb_create_window(xcb_, XCB_COPY_FROM_PARENT, windows_.back(), root_, 0, 0, 10, 10, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
  Set(root_, "_NET_CLIENT_LIST_STACKING", XCB_ATOM_WINDOW, 32, windows_.data(), windows_.size());
  return windows_.back();
}

void XClient::SetText(std::uint32_t window, const std::string& property, const std::string& text) {
  Set(window, property, XCB_ATOM_STRING, 8, text.data(), text.size());
}

void XClient::SetNumber(std::uint32_t window, const std::string& property, std::uint32_t number) {
  Set(window, property, XCB_ATOM_CARDINAL, 32, &number, 1);
}

void XClient::SetActive(std::uint32_t window) {
  SetNumber(root_, "_NET_ACTIVE_WINDOW", window);
}

std::uint32_t XClient::Atom(const std::string& name) {
  const Reply<xcb_intern_atom_reply_t> reply(
      xcb_intern_atom_reply(
          xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
          nullptr),
      std::free);
  return reply->atom;
}

void XClient::TakeFocus() {
  const std::uint32_t window = MakeWindow();
  const std::uint32_t keys = XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;
  xcb_change_window_attributes(xcb_, window, XCB_CW_EVENT_MASK, &keys);
  xcb_map_window(xcb_, window);
  Focus();
}

void XClient::Focus() {
  xcb_set_input_focus(xcb_, XCB_INPUT_FOCUS_NONE, windows_.back(), XCB_CURRENT_TIME);
  Synchronize();
}

int XClient::NextKey() {
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(xcb_), std::free}) {
    const int type = event->response_type & 0x7F;
    const int code = reinterpret_cast<const xcb_key_press_event_t*>(event.get())->detail;
    if (type == XCB_KEY_PRESS) return code;
    if (type == XCB_KEY_RELEASE) return -code;
  }
  return 0;
}

void XClient::ListenToRoot() {
  const std::uint32_t messages = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(xcb_, root_, XCB_CW_EVENT_MASK, &messages);
  Synchronize();
}

std::string XClient::Messages() {
  std::string bytes;
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(xcb_), std::free}) {
    const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
    if ((message->response_type & 0x7F) != XCB_CLIENT_MESSAGE || message->format != 8) continue;
    bytes.append(reinterpret_cast<const char*>(message->data.data8), sizeof message->data);
  }
  return bytes;
}

void XClient::RequestClipboard(const std::string& format) {
  if (windows_.empty()) MakeWindow();
  xcb_convert_selection(xcb_, windows_.back(), Atom("CLIPBOARD"), Atom(format), Atom("ANSWER"),
                        XCB_CURRENT_TIME);
  xcb_flush(xcb_);
}

std::optional<std::string> XClient::Clipboard() {
  constexpr std::uint32_t kLongest = 1000;  // 4-byte units
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(xcb_), std::free}) {
    if ((event->response_type & 0x7F) != XCB_SELECTION_NOTIFY) continue;
    const auto cookie = xcb_get_property(xcb_, 1, windows_.back(), Atom("ANSWER"),
                                         XCB_GET_PROPERTY_TYPE_ANY, 0, kLongest);
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(xcb_, cookie, nullptr),
                                                std::free);
    return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                       static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
  }
  return std::nullopt;
}

void XClient::ChangeKeyboard() {
  const xcb_keycode_t key = xcb_get_setup(xcb_)->max_keycode;
  const xcb_keysym_t symbol = 'a';
  xcb_change_keyboard_mapping(xcb_, 1, key, 1, &symbol);
  Synchronize();
}

void XClient::Set(std::uint32_t window, const std::string& property, std::uint32_t type, int bits,
                  const void* data, std::size_t count) {
  xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, window, Atom(property), type,
                      static_cast<std::uint8_t>(bits), static_cast<std::uint32_t>(count), data);
  Synchronize();
}

}  // namespace quillet::test
