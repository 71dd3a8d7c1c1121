#pragma once

#include <chrono>
#include <cstdint>

#include "platform/linux/KeymapSearch.h"

namespace quillet::platform::linux_desktop {

/// A keyboard that the desktop provides for emulated input. Use from a single thread.
class EmulatedKeyboard {
 public:
  virtual ~EmulatedKeyboard() = default;

  virtual void Dispatch() = 0;           ///< handles pending events from the desktop
  virtual bool IsReady() const = 0;      ///< true if the desktop's keyboard accepts keys
  virtual unsigned devices() const = 0;  ///< number of keyboards that the desktop has added so far

  /// Returns an object that finds keys in the keyboard's keymap, or null if there is no keyboard.
  /// Valid until the next Dispatch.
  virtual KeymapSearch* keymap() const = 0;

  virtual std::uint32_t groups() const = 0;  ///< number of groups in the keymap

  /// Returns the locked modifiers last reported by the desktop. Mutter 48 and KWin 6.3 report none.
  virtual std::uint32_t lockedModifiers() const = 0;

  /// Presses or releases a key.
  /// @param code  evdev key code
  /// @param down  true to press the key
  /// @return the event's time stamp in milliseconds
  virtual std::uint32_t Press(std::uint32_t code, bool down) = 0;

  /// Waits until the desktop has handled all keys pressed so far. Handles the desktop's events.
  /// @return false if the limit has expired, or if the desktop cannot report this
  virtual bool AwaitKeys(std::chrono::milliseconds limit) = 0;
};

}  // namespace quillet::platform::linux_desktop
