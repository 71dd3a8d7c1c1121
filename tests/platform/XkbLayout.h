#pragma once

#include <xkbcommon/xkbcommon.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/KeymapSearch.h"

namespace quillet::platform::linux_desktop {

/// A keymap compiled from the installed XKB data.
class XkbLayout {
 public:
  explicit XkbLayout(const char* layout, const char* variant = "", const char* options = "") {
    const xkb_rule_names names{"evdev", "pc105", layout, variant, options};
    xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    keymap_ = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    search_.emplace(keymap_);
    xkb_context_unref(context);
  }
  ~XkbLayout() { xkb_keymap_unref(keymap_); }
  XkbLayout(const XkbLayout&) = delete;
  XkbLayout& operator=(const XkbLayout&) = delete;

  xkb_keymap* keymap() const { return keymap_; }
  KeymapSearch& Search() { return *search_; }

  /// Returns the ASCII characters for which the search finds no key.
  std::string Missing(const KeyboardState& state = {}) {
    std::string missing;
    for (const char character : std::string_view("\n\t")) Add(character, state, missing);
    for (char character = ' '; character <= '~'; ++character) Add(character, state, missing);
    return missing;
  }

 private:
  void Add(char character, const KeyboardState& state, std::string& missing) {
    if (search_->Find(character, state) == nullptr) missing += character;
  }

  xkb_keymap* keymap_ = nullptr;
  std::optional<KeymapSearch> search_;
};

}  // namespace quillet::platform::linux_desktop
