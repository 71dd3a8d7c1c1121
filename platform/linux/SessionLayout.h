#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/KeyEvents.h"
#include "platform/linux/ActiveLayout.h"
#include "platform/linux/KeymapSearch.h"
#include "platform/linux/KeysymSearch.h"
#include "platform/linux/UserModifiers.h"

struct wl_keyboard;
struct xkb_keymap;

namespace quillet::platform::linux_desktop {

class WaylandConnection;

/// Highest code of a key on a real keyboard. Keymaps use higher codes for modifiers such as Hyper.
/// Mutter 48 ignores these codes.
inline constexpr std::uint32_t kHighestRealCode = 8 + 127;

/// Reads a keymap in the text format of XKB version 1 from a file.
/// @param file  open for reading
/// @param size  size of the text in bytes
/// @return a new reference to the keymap, which the caller owns; null if the text cannot be read
xkb_keymap* ReadKeymap(int file, std::size_t size);

/// Chords to press one after another.
using KeyChords = std::vector<KeyChord>;

/// Keysyms (xkbcommon-keysyms.h) to press in this order and release in reverse.
using Keysyms = std::vector<std::uint32_t>;

/// Finds the keys for a key-down event. For the letter V with Command, the result may be
/// Shift-Insert, which also pastes. For a character that the layout has only as a dead key, the
/// result is the dead key and the space bar.
/// @return an empty list if the current group cannot produce the event
KeyChords ChordsFor(const KeyEvent& press, KeymapSearch& keymap, const KeyboardState& state);

/// Like ChordsFor, but finds only keys that type the same character in the first `groups` groups.
/// For Command-V, returns the keys for Control-V, or for Shift-Insert if no key types a V.
/// @param press            key-down event
/// @param keymap           finds the keys
/// @param groups           number of groups
/// @param lockedModifiers  see KeyboardState
KeyChords ChordsForAll(const KeyEvent& press, KeymapSearch& keymap, std::uint32_t groups,
                       std::uint32_t lockedModifiers);

/// Returns the reason to report if ChordsFor finds no keys for an event. Call it only if
/// KeyEvents::Untypable did not return the event's character.
const char* ReasonWithoutKey(const KeyEvent& press);

/// The layout of the user's keyboard in a Wayland session, as reported by the compositor. The
/// compositor reports the group to a program only while the program has focus. Use from a single
/// thread.
class SessionLayout {
 public:
  SessionLayout();
  ~SessionLayout();
  SessionLayout(const SessionLayout&) = delete;
  SessionLayout& operator=(const SessionLayout&) = delete;

  /// Reads the current layout. Waits up to 1 s for the compositor. If it does not respond, keeps
  /// the last known layout.
  /// @return false if no layout is known
  bool Update();

  /// Like ChordsFor, but finds only keys that type the same character in all groups. Call after
  /// Update. For the letter V with Command, there is always a result: Control-V if all groups have
  /// V on the same key, else Shift-Insert, else Control and the key that is V in the US layout.
  /// @param press            see ChordsFor
  /// @param lockedModifiers  see KeyboardState
  KeyChords Find(const KeyEvent& press, std::uint32_t lockedModifiers);

  /// Finds the keysyms to send to a desktop for a key-down event. See KeysymSearch. If the active
  /// group is unknown, finds only keysyms that type the same character in all groups. For the
  /// letter V with Command, the result may be Shift-Insert. Call after Update.
  /// @param press      see ChordsFor
  /// @param layouts    the user's layouts, including the active one if it is known
  /// @param modifiers  the modifiers that are active
  /// @return an empty list if the desktop would drop the event or type another character
  Keysyms KeysymsFor(const KeyEvent& press, const UserLayouts& layouts,
                     const UserModifiers::State& modifiers) const;

  unsigned keymaps() const { return keymaps_; }  ///< number of keymaps received so far

 private:
  std::unique_ptr<WaylandConnection> connection_;
  wl_keyboard* keyboard_ = nullptr;
  std::unique_ptr<KeymapSearch> keymap_;   // null until the compositor has sent a keymap
  std::unique_ptr<KeysymSearch> keysyms_;  // of the same keymap
  std::uint32_t groups_ = 0;
  unsigned keymaps_ = 0;
};

}  // namespace quillet::platform::linux_desktop
