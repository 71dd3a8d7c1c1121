#include "platform/linux/X11OwnedProperty.h"

#include <cstring>

#include "platform/linux/Xcb.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint32_t kMostNumbers = 1024;

std::uint32_t RootOf(xcb_connection_t* xcb) {
  return xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root;
}

std::uint32_t MakeOwner(xcb_connection_t* xcb) {
  const std::uint32_t window = xcb_generate_id(xcb);
  xcb_create_window(xcb, 0, window, RootOf(xcb), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                    XCB_COPY_FROM_PARENT, 0, nullptr);
  return window;
}

xcb_atom_t NameOf(xcb_connection_t* xcb, const char* name) {
  const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
      xcb, xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr)};
  return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

}  // namespace

X11OwnedProperty::X11OwnedProperty(xcb_connection_t* xcb, const char* name)
    : xcb_(xcb), root_(RootOf(xcb)), owner_(MakeOwner(xcb)), name_(NameOf(xcb, name)) {}

void X11OwnedProperty::Write(const std::vector<std::uint32_t>& value) {
  std::vector<std::uint32_t> numbers{owner_};
  numbers.insert(numbers.end(), value.begin(), value.end());
  for (const std::uint32_t window : {owner_, root_}) {
    xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, window, name_, XCB_ATOM_CARDINAL, 32,
                        static_cast<std::uint32_t>(numbers.size()), numbers.data());
  }
}

void X11OwnedProperty::Remove() {
  xcb_delete_property(xcb_, root_, name_);
}

// The server may give the ID of an old owner to another window, but that window lacks the property.
std::vector<std::uint32_t> X11OwnedProperty::Abandoned() const {
  std::vector<std::uint32_t> numbers = Read(root_);
  if (numbers.empty() || !Read(numbers[0]).empty()) return {};
  numbers.erase(numbers.begin());
  return numbers;
}

std::vector<std::uint32_t> X11OwnedProperty::Read(std::uint32_t window) const {
  const XcbReply<xcb_get_property_reply_t> reply{xcb_get_property_reply(
      xcb_, xcb_get_property(xcb_, 0, window, name_, XCB_ATOM_CARDINAL, 0, kMostNumbers), nullptr)};
  if (!reply || reply->format != 32) return {};
  const auto* const numbers = static_cast<const std::uint32_t*>(xcb_get_property_value(&*reply));
  return {numbers, numbers + reply->value_len};
}

}  // namespace quillet::platform::linux_desktop
