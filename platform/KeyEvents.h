#pragma once

#include <cstdint>
#include <span>

namespace quillet::platform {

/// A modifier that a key-down carries.
enum class KeyFlag { kNone, kShift, kCommand };

/// One synthetic keyboard event.
struct KeyEvent {
  std::uint16_t virtualKey = 0;  ///< ANSI virtual key code: key 0 is A, 36 Return, 48 Tab, 49 Space
  bool down = false;             ///< the key goes down, else up
  KeyFlag flag = KeyFlag::kNone;  ///< on the key-down only

  /// Whether all of it is the same.
  bool operator==(const KeyEvent&) const = default;
};

/// Posts keyboard events to whatever application has the keyboard's focus.
class KeyEvents {
 public:
  virtual ~KeyEvents() = default;

  /// Posts the events in order. There is no pause between keys; a backend may hold back what the
  /// system has no room for yet. One thread at a time, any thread. A system that refuses, or has no
  /// way to do so, is told of in the log by the backend, once; the events are dropped then.
  ///
  /// Where modifiers are keys and not flags, a key-down with a flag is preceded by the modifier's
  /// own key-down and followed by its key-up; where the system has no Command key, Control takes
  /// its place. Caps Lock, as far as the backend is told of it, changes nothing in what arrives
  /// and is left as it is. A modifier that the user holds down meanwhile joins the keys posted.
  virtual void Post(std::span<const KeyEvent> events) = 0;
};

}  // namespace quillet::platform
