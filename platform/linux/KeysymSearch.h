#pragma once

#include <cstdint>
#include <optional>

#include "platform/linux/SimulatedKeyboard.h"

namespace quillet::platform::linux_desktop {

/// Finds the keysyms (xkbcommon-keysyms.h) to send to a desktop that chooses the keys itself. One
/// thread at a time.
///
/// Such desktops press the first key of the current group that has the keysym. They hold Shift_L
/// for the key's second level, ISO_Level3_Shift for its third level, and nothing for higher levels
/// (Mutter 43, meta-virtual-input-device-native.c; xdg-desktop-portal-kde 5.27).
class KeysymSearch {
 public:
  /// @param keymap       the desktop's keymap; this object adds a reference to it
  /// @param highestCode  the highest key code that the desktop presses
  KeysymSearch(xkb_keymap* keymap, std::uint32_t highestCode);
  ~KeysymSearch();
  KeysymSearch(const KeysymSearch&) = delete;
  KeysymSearch& operator=(const KeysymSearch&) = delete;

  /// Returns the keysym that types a character, or 0 if there is none. If Caps Lock is on, the
  /// result may be the keysym of the same letter in the other case.
  /// @param character  printable ASCII, LF for Return, or tab
  /// @param state      the state in which the desktop will press the key
  std::uint32_t Find(char character, const KeyboardState& state) const;

  /// Returns true if the first key with the keysym is the same key, on the same level, in all
  /// groups.
  bool IsOnSameKey(std::uint32_t symbol) const;

  /// Returns true if a desktop types the keysym by pressing a single key, without modifiers.
  /// @param symbol  a keysym
  /// @param group   the current group, counted from 0
  bool IsPlain(std::uint32_t symbol, std::uint32_t group) const;

 private:
  struct KeyLevel {
    std::uint32_t code = 0;
    std::uint32_t level = 0;  // counted from 0
  };

  std::optional<KeyLevel> FirstKey(std::uint32_t symbol, std::uint32_t group) const;
  bool Types(std::uint32_t sent, const KeyboardState& state, std::uint32_t symbol) const;

  xkb_keymap* const keymap_;
  const std::uint32_t highest_;
};

}  // namespace quillet::platform::linux_desktop
