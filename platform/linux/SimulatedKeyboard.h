#pragma once

#include <compare>
#include <cstdint>
#include <vector>

struct xkb_keymap;
struct xkb_state;

namespace quillet::platform::linux_desktop {

/// A key, and the modifier keys to hold while it is pressed. Key codes are those of XKB: evdev
/// codes plus 8.
struct KeyChord {
  std::vector<std::uint32_t> modifiers;  ///< pressed in this order, released in reverse order
  std::uint32_t code = 0;                ///< the key that types the character
  std::uint32_t group = 0;               ///< the group that must be in effect
  bool operator==(const KeyChord&) const = default;  ///< compares all members
};

/// The state of a keyboard while no key is pressed.
struct KeyboardState {
  std::uint32_t group = 0;            ///< effective group, counted from 0
  std::uint32_t lockedModifiers = 0;  ///< real modifiers, such as Lock for Caps Lock
  auto operator<=>(const KeyboardState&) const = default;  ///< compares all members
};

/// Returns true for the keysyms (xkbcommon-keysyms.h) of modifier keys, and for NoSymbol.
bool TypesNothing(std::uint32_t symbol);

/// Simulates how keys change the state of a keyboard with an XKB keymap. One thread at a time.
class SimulatedKeyboard {
 public:
  /// @param keymap   the keymap; this object adds a reference to it
  /// @param initial  the initial state
  SimulatedKeyboard(xkb_keymap* keymap, const KeyboardState& initial);
  ~SimulatedKeyboard();
  SimulatedKeyboard(const SimulatedKeyboard&) = delete;
  SimulatedKeyboard& operator=(const SimulatedKeyboard&) = delete;

  void SetModifiers(std::uint32_t mask);           ///< holds exactly these real modifiers
  void Put(std::uint32_t code, bool down);         ///< presses or releases a key
  std::uint32_t Symbol(std::uint32_t code) const;  ///< returns the keysym that a key would type
  std::uint32_t Pressed() const;                   ///< returns the modifiers that are held

  /// Returns true if the state equals the initial state, except for held modifiers.
  bool IsInitial() const;

  /// Returns true if a chord types a symbol, its modifier keys type nothing, and the keyboard then
  /// returns to its initial state. Call it in the initial state; it changes the state.
  /// @param chord   the keys to press; its group is not checked
  /// @param symbol  a keysym (xkbcommon-keysyms.h)
  bool Types(const KeyChord& chord, std::uint32_t symbol);

 private:
  const KeyboardState initial_;
  xkb_state* const state_;
};

}  // namespace quillet::platform::linux_desktop
