#include "tests/platform/Compositor.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-server-protocol.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/linux/KeyStateProtocol.h"
#include "platform/linux/VirtualKeyboardProtocol.h"

namespace quillet::test {

using namespace platform::linux_desktop;

struct Compositor::Protocol {
  static Compositor& Of(wl_resource* resource) {
    return *static_cast<Compositor*>(wl_resource_get_user_data(resource));
  }

  static wl_resource* Make(wl_client* client, const wl_interface& interface, std::uint32_t id,
                           const void* requests, void* compositor) {
    wl_resource* const made = wl_resource_create(client, &interface, 1, id);
    wl_resource_set_implementation(made, requests, compositor, nullptr);
    return made;
  }

  static void SetKeymap(wl_client*, wl_resource* keyboard, std::uint32_t format, std::int32_t file,
                        std::uint32_t size) {
    Compositor& self = Of(keyboard);
    const std::lock_guard lock(self.mutex_);
    void* const text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    xkb_keymap_unref(self.keymap_);
    self.keymap_ =
        format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && text != MAP_FAILED
            ? xkb_keymap_new_from_string(self.xkb_, static_cast<const char*>(text),
                                         XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS)
            : nullptr;
    munmap(text, size);
    close(file);
  }

  static void PressKey(wl_client*, wl_resource* keyboard, std::uint32_t time, std::uint32_t code,
                       std::uint32_t down) {
    Compositor& self = Of(keyboard);
    const std::lock_guard lock(self.mutex_);
    std::string text;
    if (down != 0 && self.keymap_ != nullptr) {
      xkb_state* const state = xkb_state_new(self.keymap_);
      char buffer[8] = {};
      xkb_state_key_get_utf8(state, code + 8, buffer, sizeof buffer);
      text = buffer;
      xkb_state_unref(state);
    }
    self.keys_.push_back({time, code, down != 0, self.modifiers_, text});
  }

  static void SetModifiers(wl_client*, wl_resource* keyboard, std::uint32_t depressed,
                           std::uint32_t, std::uint32_t, std::uint32_t) {
    const std::lock_guard lock(Of(keyboard).mutex_);
    Of(keyboard).modifiers_ = depressed;
  }

  static void MakeKeyboard(wl_client* client, wl_resource* manager, wl_resource*,
                           std::uint32_t id) {
    static constexpr struct {
      decltype(&SetKeymap) keymap = SetKeymap;
      decltype(&PressKey) key = PressKey;
      decltype(&SetModifiers) modifiers = SetModifiers;
      void (*destroy)(wl_client*, wl_resource*) = [](wl_client*, wl_resource* keyboard) {
        wl_resource_destroy(keyboard);
      };
    } kRequests;
    Make(client, VirtualKeyboardInterface(), id, &kRequests, &Of(manager));
  }

  static void BindManager(wl_client* client, void* self, std::uint32_t, std::uint32_t id) {
    static constexpr decltype(&MakeKeyboard) kRequests[] = {MakeKeyboard};
    Make(client, VirtualKeyboardManagerInterface(), id, kRequests, self);
  }

  static void FetchStates(wl_client*, wl_resource* keys) {
    const std::lock_guard lock(Of(keys).mutex_);
    for (const auto& [key, state] : Of(keys).keyStates_) {
      wl_resource_post_event(keys, kStateChanged, key, state);
    }
  }

  static void BindKeyStates(wl_client* client, void* self, std::uint32_t version,
                            std::uint32_t id) {
    static constexpr decltype(&FetchStates) kRequests[] = {FetchStates, nullptr};
    wl_resource* const keys =
        wl_resource_create(client, &KeyStateInterface(), static_cast<int>(version), id);
    wl_resource_set_implementation(keys, kRequests, self, nullptr);
  }

  // Sends the keymap of the user's keyboard.
  static void GetKeyboard(wl_client* client, wl_resource* seat, std::uint32_t id) {
    Compositor& self = Of(seat);
    wl_resource* const keyboard = Make(client, wl_keyboard_interface, id, nullptr, &self);
    xkb_rule_names names{};
    names.layout = self.layouts_.c_str();
    xkb_keymap* const keymap =
        xkb_keymap_new_from_names(self.xkb_, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    char* const text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
    const std::size_t size = std::strlen(text) + 1;
    const int file = memfd_create("keymap", MFD_CLOEXEC);
    if (write(file, text, size) != static_cast<ssize_t>(size)) std::abort();
    wl_keyboard_send_keymap(keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file,
                            static_cast<std::uint32_t>(size));
    close(file);
    std::free(text);
    xkb_keymap_unref(keymap);
  }

  static void BindSeat(wl_client* client, void* self, std::uint32_t, std::uint32_t id) {
    static constexpr decltype(&GetKeyboard) kRequests[] = {nullptr, GetKeyboard, nullptr};
    wl_resource* const seat = Make(client, wl_seat_interface, id, kRequests, self);
    wl_seat_send_capabilities(seat, WL_SEAT_CAPABILITY_KEYBOARD);
  }
};

Compositor::Compositor(bool offersKeyboards, std::string layouts, bool reportsKeyStates)
    : layouts_(std::move(layouts)),
      display_(wl_display_create()),
      xkb_(xkb_context_new(XKB_CONTEXT_NO_FLAGS)) {
  if (wl_display_add_socket(display_, "wayland-test") != 0) std::abort();
  wl_global_create(display_, &wl_seat_interface, 1, this, &Protocol::BindSeat);
  if (offersKeyboards) {
    wl_global_create(display_, &VirtualKeyboardManagerInterface(), 1, this, &Protocol::BindManager);
  }
  if (reportsKeyStates) {
    wl_global_create(display_, &KeyStateInterface(), 5, this, &Protocol::BindKeyStates);
  }
  thread_ = std::thread([this] { Run(); });
}

Compositor::~Compositor() {
  isEnding_ = true;
  thread_.join();
  wl_display_destroy_clients(display_);
  wl_display_destroy(display_);
  xkb_keymap_unref(keymap_);
  xkb_context_unref(xkb_);
}

void Compositor::Run() {
  constexpr int kMilliseconds = 5;
  while (!isEnding_) {
    if (isStopped_) {
      std::this_thread::yield();
      continue;
    }
    wl_event_loop_dispatch(wl_display_get_event_loop(display_), kMilliseconds);
    wl_display_flush_clients(display_);
    if (disconnects_) {
      wl_display_destroy_clients(display_);
      disconnects_ = false;
    }
  }
}

void Compositor::SetKeyState(std::uint32_t key, std::uint32_t state) {
  const std::lock_guard lock(mutex_);
  keyStates_[key] = state;
}

void Compositor::Disconnect() {
  disconnects_ = true;
  while (disconnects_) std::this_thread::yield();
}

std::vector<Compositor::Key> Compositor::keys() const {
  const std::lock_guard lock(mutex_);
  return keys_;
}

std::string Compositor::text() const {
  std::string text;
  for (const Key& key : keys()) text += key.text;
  return text;
}

}  // namespace quillet::test
