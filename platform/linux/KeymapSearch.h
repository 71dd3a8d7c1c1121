#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "platform/linux/SimulatedKeyboard.h"

namespace quillet::platform::linux_desktop {

/// Returns the keysym (xkbcommon-keysyms.h) of a printable ASCII character, LF (Return) or tab.
std::uint32_t KeysymOf(char character);

/// Finds the keys of an XKB keymap that type ASCII characters.
///
/// Find uses only keys whose symbol is the character itself, not dead keys or the keypad. Chords
/// contain only modifier keys that neither latch nor lock, and never Control, Alt or Super, because
/// applications would treat the chord as a command. One thread at a time.
class KeymapSearch {
 public:
  static constexpr std::uint32_t kHighestCode = 255;  ///< highest key code of the X protocol

  /// @param keymap       the keymap; this object adds a reference to it
  /// @param highestCode  the highest key code to use
  explicit KeymapSearch(xkb_keymap* keymap, std::uint32_t highestCode = kHighestCode);
  ~KeymapSearch();

  std::uint32_t Groups() const;  ///< returns the number of groups

  /// Returns the keys that type a character, or null if there are none. Prefers the current group,
  /// then the keys of the main block, then chords with few modifiers.
  /// @param character  printable ASCII, LF for Return, or tab
  /// @param state      the state in which the keys will be pressed. The chord is valid for the
  ///                   locked modifiers of this state. The chord's group may be different.
  const KeyChord* Find(char character, const KeyboardState& state);

  /// Returns a dead key of the current group that types a character if it is followed by the space
  /// bar, or null if there is none. See CharacterOfDeadKey.
  /// @param character, state  see Find
  const KeyChord* FindDead(char character, const KeyboardState& state);

  /// Returns a chord without modifiers for a symbol, such as the letter of a shortcut. Searches all
  /// groups, and prefers the current group.
  /// @param symbol  a keysym (xkbcommon-keysyms.h)
  /// @param state   see Find
  std::optional<KeyChord> FindPlain(std::uint32_t symbol, const KeyboardState& state);

  /// Returns the code of a key whose only effect is to set the modifiers `mask` while it is
  /// pressed, or 0 if there is none.
  std::uint32_t ModifierKey(std::uint32_t mask, const KeyboardState& state);

  /// Returns true if a key sets modifiers while it is pressed, types nothing, and has no other
  /// effect.
  bool IsModifier(std::uint32_t code, const KeyboardState& state) const;

  /// Returns the key codes from `lowest` to `highestCode` that have no symbols.
  std::vector<std::uint32_t> UnusedCodes(std::uint32_t lowest) const;

 private:
  static constexpr std::size_t kCharacters = 128;
  struct Chords {
    std::array<std::optional<KeyChord>, kCharacters> direct;
    std::array<std::optional<KeyChord>, kCharacters> dead;
  };
  struct Candidate;

  const Chords& ChordsIn(const KeyboardState& state);
  void AddGroup(const KeyboardState& initial, std::uint32_t group, Chords& chords);
  std::vector<Candidate> CandidatesIn(const KeyboardState& state);
  std::vector<std::uint32_t> MasksOf(std::uint32_t code, std::uint32_t group,
                                     std::uint32_t locked) const;
  std::uint32_t ModifiersOf(std::uint32_t code, const KeyboardState& state) const;
  bool FindModifiers(std::uint32_t mask, const KeyboardState& state, std::uint32_t symbol,
                     KeyChord& chord);

  xkb_keymap* const keymap_;
  const std::uint32_t lowest_;
  const std::uint32_t highest_;
  const std::uint32_t forbidden_;  // modifiers that turn a key into a command
  std::map<KeyboardState, Chords> chords_;
  std::map<std::pair<KeyboardState, std::uint32_t>, std::uint32_t> modifierKeys_;
};

}  // namespace quillet::platform::linux_desktop
