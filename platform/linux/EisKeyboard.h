#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "base/UniqueFd.h"
#include "platform/linux/KeymapSearch.h"

namespace quillet::platform::linux_desktop {

/// A keyboard of the desktop's server for emulated input (EIS), through libei. Use from a single
/// thread.
///
/// The library is loaded at run time (dlopen(3), libei.so.1), because Debian 12 does not have it.
class EisKeyboard {
 public:
  /// Returns true if libei can be loaded.
  static bool HasLibrary();

  /// @param connection  result of RemoteDesktop::ConnectToEis
  explicit EisKeyboard(UniqueFd connection);
  ~EisKeyboard();
  EisKeyboard(const EisKeyboard&) = delete;
  EisKeyboard& operator=(const EisKeyboard&) = delete;

  int descriptor() const;    ///< readable when Dispatch has events to handle
  void Dispatch();           ///< handles pending events from the server
  bool IsReady() const;      ///< true if the desktop provides a keyboard that accepts keys
  unsigned devices() const;  ///< number of keyboards that the desktop has added so far
  bool HasEnded() const;     ///< true if the server has closed the connection

  /// Returns an object that finds keys in the keyboard's keymap, or null if there is no keyboard.
  /// Valid until the next Dispatch.
  KeymapSearch* keymap() const;

  std::uint32_t groups() const;  ///< number of groups in the keymap

  /// Returns the locked modifiers last reported by the desktop. Mutter 48 and KWin 6.3 report none.
  std::uint32_t lockedModifiers() const;

  /// Presses or releases a key.
  /// @param code  evdev key code
  /// @param down  true to press the key
  /// @return the event's time stamp in milliseconds
  std::uint32_t Press(std::uint32_t code, bool down);

  /// Waits until the desktop has handled all keys pressed so far, and handles its events.
  /// @return false if the limit has expired, or if libei is older than 1.4 and cannot report this
  bool AwaitKeys(std::chrono::milliseconds limit);

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace quillet::platform::linux_desktop
