#include "platform/linux/TypingWatch.h"

#include <utility>

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

constexpr auto kReleaseLimit = 1s;
constexpr auto kReleasePause = 20ms;

// A new layout may affect keys up to this long before the desktop reports the change.
constexpr auto kChangeTime = 200ms;

// Time that GNOME takes to write the active layout to its settings.
constexpr auto kSettingsPause = 30ms;

constexpr char kModifiersPressed[] =
    "Shift, Control, Alt or Caps Lock was pressed while a record was being typed";

}  // namespace

bool TypingWatch::AwaitRelease() {
  for (const auto end = clock_.Now() + kReleaseLimit; modifiers_.Read().isKeyHeld;) {
    if (clock_.Now() >= end) return false;
    clock_.Sleep(kReleasePause);
  }
  return true;
}

TypingWatch::State TypingWatch::Read(unsigned keyboard) {
  return {keyboard, layouts_.Read(), modifiers_.Read()};
}

const char* TypingWatch::WhatChanged(const State& now) const {
  if (now.keyboard != state.keyboard || now.layouts != state.layouts) return kLayoutChanged;
  return now.modifiers != state.modifiers ? kModifiersPressed : nullptr;
}

const char* TypingWatch::BeginPart(const State& now) {
  const bool isNext = isBegun_ || clock_.Now() < lastKeys_ + kChangeTime;
  const bool areLastInDoubt = isNext && !now.layouts.isReportedAtOnce;
  const char* const change = areLastInDoubt ? WhatChanged(now) : nullptr;
  state = now;
  if (change == nullptr) isBegun_ = true;
  return change;
}

void TypingWatch::KeysSent() {
  lastKeys_ = clock_.Now();
}

void TypingWatch::AwaitReport() {
  clock_.Sleep(kSettingsPause);
}

}  // namespace quillet::platform::linux_desktop
