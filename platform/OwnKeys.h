#pragma once

#include <chrono>
#include <cstdint>

namespace quillet::platform {

/// A key event in a window of this program, as the toolkit reports it.
struct WindowKey {
  std::uint16_t code = 0;            ///< evdev key code (linux/input-event-codes.h)
  bool down = false;                 ///< true for a press, false for a release
  bool repeats = false;              ///< true for auto-repeat of a key that is held down
  std::chrono::milliseconds time{};  ///< time stamp of the windowing system
};

/// Recognizes key events that this program posted through KeyEvents, so that its windows can ignore
/// them. Keys from the user and from other programs are not recognized. Main thread.
class OwnKeys {
 public:
  virtual ~OwnKeys() = default;

  /// Returns true if this program posted the event. Call for each event, in the order in which the
  /// toolkit receives them; each posted event is recognized only once.
  /// @param event  event of the windowing system: xcb_generic_event_t on X11, NSEvent on macOS
  virtual bool IsOwnEvent(const void* event) = 0;

  /// Like IsOwnEvent, for windowing systems on which only the toolkit sees the events (Wayland).
  virtual bool IsOwnKey(const WindowKey& key) = 0;
};

}  // namespace quillet::platform
