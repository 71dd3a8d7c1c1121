#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"

namespace quillet::platform::linux_desktop {

/// A press or release of an evdev key (linux/input-event-codes.h).
struct KeyStroke {
  std::uint16_t code = 0;
  bool down = false;
  bool operator==(const KeyStroke&) const = default;
};

/// The largest evdev key code that ToKeyStrokes uses.
inline constexpr std::uint16_t kHighestKeyCode = 86;

/// Returns the evdev code for the position of an ANSI virtual key, or 0 if the key is unknown.
std::uint16_t EvdevKeyCode(std::uint16_t virtualKey);

/// Converts key events to keystrokes, including keystrokes of the modifier keys. Uses Control in
/// place of Command. Ignores unknown keys.
/// @param events    events to convert
/// @param capsLock  true if Caps Lock is on; Shift is then inverted for letters, so that they are
///                  typed as if Caps Lock were off
/// @param put       receives the strokes in order
void ToKeyStrokes(std::span<const KeyEvent> events, bool capsLock,
                  const std::function<void(KeyStroke)>& put);

/// The reason why keys cannot be typed. One thread at a time.
class TypingFailure {
 public:
  /// @param log  must outlive this object
  explicit TypingFailure(SystemLog& log) : log_(log) {}

  /// Sets the reason. The first call also logs it.
  void Set(const std::string& reason) {
    reason_ = reason;
    if (!std::exchange(logged_, true)) log_.Write("Quillet cannot type on this desktop: " + reason);
  }
  void Clear() { reason_.clear(); }                      ///< call when keys can be typed
  const std::string& Reason() const { return reason_; }  ///< empty if keys can be typed

 private:
  SystemLog& log_;
  std::string reason_;
  bool logged_ = false;
};

}  // namespace quillet::platform::linux_desktop
