#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"
#include "platform/linux/X11Keyboard.h"

namespace quillet::platform::linux_desktop {

/// X key code minus evdev code (xkeyboard-config).
inline constexpr std::uint32_t kXCodeOffset = 8;

/// Returns the characters of a text that no key types, without duplicates.
/// @param text    printable ASCII, LF and tab
/// @param keymap  finds the keys
/// @param locks   the user's locks and group
std::string CharactersWithoutKey(std::string_view text, KeymapSearch& keymap,
                                 const X11Locks& locks);

/// A list of steps that type characters. The first steps release the keys that are down. They also
/// clear the latches and the locks that turn keys into commands. The last steps restore the locks
/// and press the modifier keys again. Does not send the steps. One thread at a time.
class X11KeySequence {
 public:
  /// A keystroke or a change to the locks.
  struct Step {
    KeyStroke stroke;               ///< the stroke; ignored if `locks` is set
    std::optional<X11Locks> locks;  ///< the new locks; empty for a stroke
  };

  /// Adds the first steps, which release keys and clear latches and locks.
  /// @param keymap  finds the keys; must outlive this object
  /// @param state   the keyboard's state before the first step
  X11KeySequence(KeymapSearch& keymap, X11KeyboardState state);

  /// Adds events in order. Stops before a character without a key, or when the sequence is full.
  /// @return the number of events added
  std::size_t Add(std::span<const KeyEvent> events);

  void Finish();  ///< adds the last steps; call once, after Add

  const std::vector<Step>& Steps() const { return steps_; }  ///< returns all steps in order
  /// Returns the codes of the keys that the user holds down and that Finish presses again.
  const std::vector<std::uint8_t>& PressedAgain() const { return pressedAgain_; }

  /// Returns pairs of locked modifiers and locked group. The first pair is the user's. The other
  /// pairs are set by the steps; they are in ascending order and without duplicates.
  std::vector<std::uint32_t> Marks() const;

 private:
  bool AddEvent(const KeyEvent& event);
  std::optional<KeyChord> Typed(char character);
  std::optional<KeyChord> Shortcut(char letter);
  void Press(const KeyChord& chord);
  void Put(std::uint32_t code, bool down);
  void Change(const X11Locks& locks);
  bool IsDown(std::uint8_t code) const;

  KeymapSearch& keymap_;
  const X11KeyboardState state_;
  X11Locks locks_;  // the locks after the last step
  std::vector<Step> steps_;
  std::vector<std::uint8_t> pressedAgain_;
  std::optional<std::uint16_t> lastKey_;  // the key that is still down
  std::uint32_t lastCode_ = 0;
};

}  // namespace quillet::platform::linux_desktop
