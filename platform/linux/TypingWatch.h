#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/linux/ActiveLayout.h"
#include "platform/linux/UserModifiers.h"

namespace quillet::platform::linux_desktop {

inline constexpr char kLayoutChanged[] =
    "the keyboard layout changed while a record was being typed";
inline constexpr char kModifierHeld[] = "a modifier key is held down. Release all modifier keys.";

/// Checks that the user changes neither the layout nor the modifiers while a record is being typed.
/// A record is typed in several parts, with a check for each part. One thread at a time.
class TypingWatch {
 public:
  /// State that must not change while a part is typed.
  struct State {
    unsigned keyboard = 0;  ///< changes when the desktop replaces its keyboard or keymap
    UserLayouts layouts;
    UserModifiers::State modifiers;
  };

  /// @param clock  used for pauses; must outlive this object
  explicit TypingWatch(Clock& clock) : clock_(clock) {}

  /// Waits up to 1 s until the user holds no modifier. Returns false if one is still held.
  bool AwaitRelease();

  /// Returns the current state. Waits up to 2 s for the desktop's replies.
  /// @param keyboard  see State
  State Read(unsigned keyboard);

  /// Returns a phrase that names the change from `state` to `now`, or null if they are equal.
  const char* WhatChanged(const State& now) const;

  void BeginRecord() { isBegun_ = false; }  ///< call before the first part of a record

  /// Begins a part. Sets `state` to `now`.
  /// @return null if nothing has changed since the previous part; otherwise the change, as part of
  ///         a sentence. The previous part may then have been mistyped, because the desktop
  ///         reports layout changes late.
  const char* BeginPart(const State& now);

  void KeysSent();  ///< call after keys have been sent

  /// Waits long enough for the desktop to report a layout change that may have affected the keys.
  void AwaitReport();

  /// Selects one of the user's layouts. See ActiveLayout::Select.
  bool Select(std::uint32_t group) { return layouts_.Select(group); }

  /// Returns the active layout; no value if it is unknown.
  std::optional<std::uint32_t> ActiveGroup() { return layouts_.Read().active; }

  State state;  ///< the state when keys were last pressed

 private:
  Clock& clock_;
  ActiveLayout layouts_;
  UserModifiers modifiers_;
  bool isBegun_ = false;                 // the first part of the current record has begun
  std::chrono::nanoseconds lastKeys_{};  // when the last keys were sent
};

}  // namespace quillet::platform::linux_desktop
