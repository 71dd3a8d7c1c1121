#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/ActiveLayout.h"
#include "platform/linux/SentKeys.h"
#include "platform/linux/SessionLayout.h"
#include "platform/linux/UserModifiers.h"

namespace quillet::platform::linux_desktop {

class EisKeyboard;

/// Types with an EisKeyboard. Finds the keys in the user's active layout, and checks that neither
/// the layout nor the modifiers change while the keys are pressed. If only another of the user's
/// layouts has the characters, selects that layout to type them, provided that the desktop allows
/// it. One thread at a time. Call the functions only while the keyboard is ready.
class EisTypist {
 public:
  /// @param keyboard  outlives this object, like the other arguments
  /// @param clock     used for pauses
  /// @param sent      notified of the strokes that are sent
  EisTypist(EisKeyboard& keyboard, Clock& clock, SentKeys& sent);

  EisKeyboard& keyboard() { return keyboard_; }  ///< the keyboard passed to the constructor

  /// Returns the characters of a text that Type cannot type now, without duplicates.
  std::string Untypable(std::string_view text);

  void Begin() { isBegun_ = false; }  ///< begins a record

  /// Presses and releases keys. If the user holds a modifier, waits up to 1 s for its release.
  /// @param presses  the record's next key-down events
  /// @return null if all characters have arrived; otherwise the reason, as part of a sentence. If
  ///         the desktop reports layouts late and the layout has changed less than 0.2 s after the
  ///         last record, presses no keys; the last record may then have been mistyped.
  const char* Type(std::span<const KeyEvent> presses);

 private:
  // No value: use only keys that type the same in all groups.
  using Group = std::optional<std::uint32_t>;

  struct State {
    unsigned device = 0;
    UserLayouts layouts;
    UserModifiers::State modifiers;
  };

  State Read();
  const char* WhatChanged(const State& now) const;
  bool AwaitRelease();
  KeyChords ChordsIn(const KeyEvent& press, Group group);
  bool HasAll(std::span<const KeyEvent> presses, Group group);
  Group OtherGroupFor(std::span<const KeyEvent> presses);
  const char* TypeIn(std::uint32_t other, std::span<const KeyEvent> presses);
  void Press(std::span<const KeyEvent> presses, Group group);
  void Write(const std::vector<KeyStroke>& strokes);

  EisKeyboard& keyboard_;
  Clock& clock_;
  SentKeys& sent_;
  ActiveLayout layouts_;
  UserModifiers modifiers_;
  State state_;                          // the state while the last keys were pressed
  bool isBegun_ = false;                 // true if keys of the current record have been sent
  std::chrono::nanoseconds lastKeys_{};  // when the last keys were pressed
};

}  // namespace quillet::platform::linux_desktop
