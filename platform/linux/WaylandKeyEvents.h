#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string>

#include "base/SystemLog.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"
#include "platform/linux/Pace.h"
#include "platform/linux/SentKeys.h"

namespace quillet::platform::linux_desktop {

/// Posts key events through a virtual keyboard of the compositor (Wayland protocol
/// virtual-keyboard-unstable-v1, offered by wlroots). The virtual keyboard uses the keymap
/// PlainKeymap, so the user's layout and lock keys have no effect. Ignores events without a
/// character. One thread at a time.
class WaylandKeyEvents final : public KeyEvents {
 public:
  /// Does not connect to the compositor yet.
  /// @param log    receives one line if keys cannot be typed; must outlive this object
  /// @param clock  used for pauses and for the times of events; must outlive this object
  /// @param sent   notified of the strokes that are sent; must outlive this object
  /// @param patience  time to wait for a compositor that does not respond
  WaylandKeyEvents(SystemLog& log, Clock& clock, SentKeys& sent,
                   std::chrono::milliseconds patience = std::chrono::seconds(20));
  ~WaylandKeyEvents() override;

  /// Returns true if the compositor offers virtual keyboards. Opens a connection to find out. Any
  /// thread.
  static bool IsOffered();

  /// Sends up to 70 characters at a time, with pauses in between. Stops if the compositor does not
  /// accept characters in time or ends the connection.
  void Post(std::span<const KeyEvent> events) override;
  std::string Problem() override { return failure_.Reason(); }

 private:
  class Keyboard;

  bool Connect();
  bool Send(std::span<const KeyStroke> strokes);

  Clock& clock_;
  SentKeys& sent_;
  const std::chrono::milliseconds patience_;
  TypingFailure failure_;
  std::unique_ptr<Keyboard> keyboard_;
  Pace pace_;
};

}  // namespace quillet::platform::linux_desktop
