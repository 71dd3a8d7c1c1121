#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"

namespace quillet::platform::linux_desktop {

/// A key of an evdev keyboard that goes down or up (linux/input-event-codes.h).
struct KeyStroke {
  std::uint16_t code = 0;
  bool down = false;

  bool operator==(const KeyStroke&) const = default;
};

/// The largest evdev key code that ToKeyStrokes puts out.
inline constexpr std::uint16_t kHighestKeyCode = 86;

/// The evdev key at the same place of the keyboard as an ANSI virtual key; 0 where there is none.
std::uint16_t EvdevKeyCode(std::uint16_t virtualKey);

/// Turns key events into strokes of keys, among them those of the modifiers: Shift, and Control for
/// Command. Where Caps Lock is on, the letters' Shift is turned round, so that each key types what
/// it types while Caps Lock is off. Events of keys that there are none for are left out.
void ToKeyStrokes(std::span<const KeyEvent> events, bool capsLock,
                  const std::function<void(KeyStroke)>& put);

/// Tells the log once, however many keys follow, that keys cannot be pressed. One thread at a time.
class TypingFailure {
 public:
  /// @param log  outlives this object
  explicit TypingFailure(SystemLog& log) : log_(log) {}

  /// @param reason  why not, behind a colon
  void Tell(const std::string& reason) {
    if (!std::exchange(told_, true)) log_.Write("Cannot type on this desktop: " + reason);
  }

 private:
  SystemLog& log_;
  bool told_ = false;
};

}  // namespace quillet::platform::linux_desktop
