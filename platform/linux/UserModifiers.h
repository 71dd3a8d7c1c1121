#pragma once

#include <compare>
#include <memory>
#include <string>

namespace quillet::platform::linux_desktop {

class WaylandConnection;

/// Reads which modifiers the user has activated. KWin reports them through the protocol
/// org_kde_kwin_keystate, to programs whose desktop file lists this protocol in
/// X-KDE-Wayland-Interfaces. On other compositors, only Caps Lock is known, from the LEDs of the
/// keyboards. One thread at a time.
class UserModifiers {
 public:
  /// Modifiers that are known to be active.
  struct State {
    bool isCapsLockOn = false;
    bool isKeyHeld = false;  ///< Shift, Control, Alt, AltGr or Super is pressed, latched or locked
    auto operator<=>(const State&) const = default;  ///< compares all members
  };

  /// @param leds  folder with the LEDs of all devices (Documentation/leds/leds-class.rst)
  explicit UserModifiers(std::string leds = "/sys/class/leds");
  ~UserModifiers();
  UserModifiers(const UserModifiers&) = delete;
  UserModifiers& operator=(const UserModifiers&) = delete;

  /// Returns the current state. Waits up to 1 s for KWin's reply. The first call connects to the
  /// compositor.
  State Read();

 private:
  bool IsReported();
  bool IsLedOn() const;

  const std::string leds_;
  std::unique_ptr<WaylandConnection> compositor_;
  bool isConnected_ = false;
  unsigned active_ = 0;  // bit n is set if KeyStateKey n is active
};

}  // namespace quillet::platform::linux_desktop
