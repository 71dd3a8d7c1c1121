#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/EmulatedKeyboard.h"
#include "platform/linux/LayoutNote.h"
#include "platform/linux/PortalTypist.h"
#include "platform/linux/SentKeys.h"
#include "platform/linux/SessionLayout.h"
#include "platform/linux/TypingWatch.h"

namespace quillet::platform::linux_desktop {

/// Types with an EmulatedKeyboard. Finds the keys in the user's active layout, and checks that
/// neither the layout nor the modifiers change while the keys are pressed. If the active layout
/// lacks a character, temporarily selects one of the user's other layouts that has all characters.
/// Not all desktops allow this. One thread at a time. Call only while the keyboard is ready.
class EisTypist final : public PortalTypist {
 public:
  /// All arguments must outlive this object.
  /// @param keyboard  types the strokes
  /// @param clock     used for pauses
  /// @param sent      notified of the strokes that are sent
  /// @param note      stores the original layout while Type uses a different layout
  /// @param isEnding  if true, Type stops before the next dead key or pause
  EisTypist(EmulatedKeyboard& keyboard, Clock& clock, SentKeys& sent, const LayoutNote& note,
            const std::atomic<bool>& isEnding);

  std::string Untypable(std::string_view text) override;
  void Begin() override { watch_.BeginRecord(); }
  const char* Type(std::span<const KeyEvent> presses) override;

 private:
  // A group of the keymap. No value: use only keys that type the same character in all groups.
  using Group = std::optional<std::uint32_t>;

  TypingWatch::State Read();
  const char* WhatChanged();
  KeyChords ChordsIn(const KeyEvent& press, Group group);
  bool HasAll(std::span<const KeyEvent> presses, Group group);
  Group OtherGroupFor(std::span<const KeyEvent> presses);
  const char* TypeIn(std::uint32_t other, std::span<const KeyEvent> presses);
  const char* Press(std::span<const KeyEvent> presses, Group group);
  void AwaitReading();
  void Write(const std::vector<KeyStroke>& strokes);

  EmulatedKeyboard& keyboard_;
  Clock& clock_;
  SentKeys& sent_;
  const LayoutNote& note_;
  const std::atomic<bool>& isEnding_;
  TypingWatch watch_;
  std::chrono::nanoseconds allRead_{};  // time by which programs will have read all keys
};

}  // namespace quillet::platform::linux_desktop
