#include "platform/linux/EisTypist.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>
#include <vector>

#include "platform/linux/EisKeyboard.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

constexpr auto kReleaseLimit = 1s;
constexpr auto kReleasePause = 20ms;
constexpr auto kKeysLimit = 1s;

// After this time, the desktop has handled all keys. Used with versions of libei before 1.4, which
// cannot report this.
constexpr auto kKeysPause = 30ms;

// Pause before a dead key, during which programs read the earlier keys. Without it, GNOME's input
// method may insert the dead key's character before those of the earlier keys.
constexpr auto kDeadKeyPause = 300ms;
constexpr auto kDeadKeyPausePerStroke = 5ms;  // added for each stroke before the dead key

// The desktop may apply a new layout to keys this long before it reports the change.
constexpr auto kChangeTime = 200ms;

// GNOME needs this time to write the active layout to its settings.
constexpr auto kSettingsPause = 30ms;

constexpr std::uint32_t kLockOfCaps = 2;  // mask of the modifier Lock (X11 protocol, section 2)
constexpr std::uint32_t kCodeOffset = 8;  // difference between XKB and evdev key codes

constexpr char kLayoutChanged[] = "the keyboard layout changed while a record was being typed";
constexpr char kModifiersPressed[] =
    "Shift, Control, Alt or Caps Lock was pressed while a record was being typed";
constexpr char kModifierHeld[] =
    "a modifier key is held down. Release Shift, Control, Alt and the Super key.";

void AddStrokes(const KeyChord& chord, std::vector<KeyStroke>& strokes) {
  const auto add = [&](std::uint32_t code, bool down) {
    strokes.push_back({static_cast<std::uint16_t>(code - kCodeOffset), down});
  };
  for (const std::uint32_t modifier : chord.modifiers) add(modifier, true);
  add(chord.code, true);
  add(chord.code, false);
  for (auto it = chord.modifiers.rbegin(); it != chord.modifiers.rend(); ++it) add(*it, false);
}

}  // namespace

EisTypist::EisTypist(EisKeyboard& keyboard, Clock& clock, SentKeys& sent)
    : keyboard_(keyboard), clock_(clock), sent_(sent) {}

std::string EisTypist::Untypable(std::string_view text) {
  const State last = std::exchange(state_, Read());
  std::vector<KeyEvent> presses;
  for (const char character : text) presses.push_back({0, true, KeyFlag::kNone, character});
  std::string missing;
  for (const KeyEvent& press : presses) {
    if (missing.find(press.character) == std::string::npos &&
        ChordsIn(press, state_.layouts.active).empty()) {
      missing += press.character;
    }
  }
  if (!missing.empty() && OtherGroupFor(presses)) missing.clear();
  state_ = last;  // Type compares the last state with the next one
  return missing;
}

const char* EisTypist::Type(std::span<const KeyEvent> presses) {
  if (!AwaitRelease()) return kModifierHeld;
  const State now = Read();
  const bool isNext = isBegun_ || clock_.Now() < lastKeys_ + kChangeTime;
  const bool areLastInDoubt = isNext && !now.layouts.isReportedAtOnce;
  const char* const change = areLastInDoubt ? WhatChanged(now) : nullptr;
  state_ = now;
  if (change != nullptr) return change;
  isBegun_ = true;
  const Group active = state_.layouts.active;
  if (!HasAll(presses, active)) {
    if (const Group other = OtherGroupFor(presses)) return TypeIn(*other, presses);
    return ReasonWithoutKey(presses.front());
  }
  const bool isReportedLate = active && !state_.layouts.isReportedAtOnce && !HasAll(presses, {});
  Press(presses, active);
  if (isReportedLate) clock_.Sleep(kSettingsPause);
  return WhatChanged(Read());
}

EisTypist::State EisTypist::Read() {
  return {keyboard_.devices(), layouts_.Read(), modifiers_.Read()};
}

const char* EisTypist::WhatChanged(const State& now) const {
  if (!keyboard_.IsReady() || now.device != state_.device || now.layouts != state_.layouts) {
    return kLayoutChanged;
  }
  return now.modifiers != state_.modifiers ? kModifiersPressed : nullptr;
}

bool EisTypist::AwaitRelease() {
  for (const auto end = clock_.Now() + kReleaseLimit; modifiers_.Read().isKeyHeld;) {
    if (clock_.Now() >= end) return false;
    clock_.Sleep(kReleasePause);
  }
  return true;
}

KeyChords EisTypist::ChordsIn(const KeyEvent& press, Group group) {
  const std::uint32_t groups = std::min(state_.layouts.count, keyboard_.groups());
  const std::uint32_t locked =
      keyboard_.lockedModifiers() | (state_.modifiers.isCapsLockOn ? kLockOfCaps : 0);
  if (!group) return ChordsForAll(press, *keyboard_.keymap(), groups, locked);
  return *group < groups ? ChordsFor(press, *keyboard_.keymap(), {*group, locked}) : KeyChords();
}

bool EisTypist::HasAll(std::span<const KeyEvent> presses, Group group) {
  return std::none_of(presses.begin(), presses.end(),
                      [&](const KeyEvent& press) { return ChordsIn(press, group).empty(); });
}

// Returns a group that has keys for all events and that the desktop can select, or no value.
EisTypist::Group EisTypist::OtherGroupFor(std::span<const KeyEvent> presses) {
  if (!state_.layouts.canSelect) return std::nullopt;
  for (std::uint32_t group = 0; group < keyboard_.groups(); ++group) {
    if (HasAll(presses, group)) return group;
  }
  return std::nullopt;
}

// Selects another layout, presses its keys, and selects the previous layout again. Returns null, or
// the reason for the failure.
const char* EisTypist::TypeIn(std::uint32_t other, std::span<const KeyEvent> presses) {
  const State before = state_;
  if (!layouts_.Select(other)) return kLayoutChanged;
  state_.layouts.active = other;
  const char* reason = WhatChanged(Read());
  if (reason == nullptr) {
    Press(presses, other);
    reason = WhatChanged(Read());
  }
  // If the user has selected a layout in the meantime, it remains selected.
  if (layouts_.Read().active == other && before.layouts.active) {
    layouts_.Select(*before.layouts.active);
  }
  state_ = before;
  return reason;
}

// Finds all keys before pressing the first one, because the desktop may replace the keymap as soon
// as a key is pressed.
void EisTypist::Press(std::span<const KeyEvent> presses, Group group) {
  std::vector<std::vector<KeyStroke>> parts(1);  // all except the first begin with a dead key
  for (const KeyEvent& press : presses) {
    const KeyChords chords = ChordsIn(press, group);
    if (chords.size() > 1) parts.emplace_back();
    for (const KeyChord& chord : chords) AddStrokes(chord, parts.back());
  }
  for (auto part = parts.begin(); part != parts.end(); ++part) {
    if (part != parts.begin()) {
      const auto earlier = static_cast<int>(std::prev(part)->size());
      clock_.Sleep(kDeadKeyPause + earlier * kDeadKeyPausePerStroke);
    }
    Write(*part);
  }
}

// Sends strokes and waits until the desktop has handled them. Does nothing if the desktop has
// removed the keyboard.
void EisTypist::Write(const std::vector<KeyStroke>& strokes) {
  if (strokes.empty() || !keyboard_.IsReady()) return;
  sent_.BeginWrite(strokes, clock_.Now());
  for (const KeyStroke& stroke : strokes) keyboard_.Press(stroke.code, stroke.down);
  sent_.EndWrite(clock_.Now());
  if (!keyboard_.AwaitKeys(kKeysLimit)) clock_.Sleep(kKeysPause);
  lastKeys_ = clock_.Now();
}

}  // namespace quillet::platform::linux_desktop
