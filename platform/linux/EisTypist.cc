#include "platform/linux/EisTypist.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>
#include <vector>

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

constexpr auto kKeysLimit = 1s;

// Maximum time that the desktop needs to handle all keys. Used with versions of libei before 1.4,
// which cannot report when the desktop has handled them.
constexpr auto kKeysPause = 30ms;

// Pause before a dead key, during which programs read the earlier keys. Without it, GNOME's input
// method may insert the dead key's character before those of the earlier keys.
constexpr auto kDeadKeyPause = 300ms;
constexpr auto kReadingTimePerStroke = 5ms;  // added per unread stroke, up to kMostDeadKeyPause
constexpr auto kMostDeadKeyPause = 2s;

// How often a pause is interrupted to check whether the program is exiting.
constexpr auto kEndingCheck = 100ms;

constexpr char kEnding[] = "Quillet is closing";

constexpr std::uint32_t kLockOfCaps = 2;  // mask of the Lock modifier (X11 protocol, section 2)
constexpr std::uint32_t kCodeOffset = 8;  // difference between XKB and evdev key codes

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

EisTypist::EisTypist(EmulatedKeyboard& keyboard, Clock& clock, SentKeys& sent,
                     const LayoutNote& note, const std::atomic<bool>& isEnding)
    : keyboard_(keyboard),
      clock_(clock),
      sent_(sent),
      note_(note),
      isEnding_(isEnding),
      watch_(clock) {}

std::string EisTypist::Untypable(std::string_view text) {
  const TypingWatch::State last = std::exchange(watch_.state, Read());
  std::vector<KeyEvent> presses;
  for (const char character : text) presses.push_back({0, true, KeyFlag::kNone, character});
  std::string missing;
  for (const KeyEvent& press : presses) {
    if (missing.find(press.character) == std::string::npos &&
        ChordsIn(press, watch_.state.layouts.active).empty()) {
      missing += press.character;
    }
  }
  if (!missing.empty() && OtherGroupFor(presses)) missing.clear();
  watch_.state = last;  // Type compares this with the state that it reads
  return missing;
}

const char* EisTypist::Type(std::span<const KeyEvent> presses) {
  if (!watch_.AwaitRelease()) return kModifierHeld;
  if (const char* const change = watch_.BeginPart(Read())) return change;
  const UserLayouts& layouts = watch_.state.layouts;
  if (!HasAll(presses, layouts.active)) {
    if (const Group other = OtherGroupFor(presses)) return TypeIn(*other, presses);
    return ReasonWithoutKey(presses.front());
  }
  const bool isReportedLate =
      layouts.active && !layouts.isReportedAtOnce && !HasAll(presses, Group());
  const char* const reason = Press(presses, layouts.active);
  if (isReportedLate) watch_.AwaitReport();
  return reason != nullptr ? reason : WhatChanged();
}

TypingWatch::State EisTypist::Read() {
  return watch_.Read(keyboard_.devices());
}

// Returns a phrase that names the change since `watch_.state` was read, or null if nothing has
// changed.
const char* EisTypist::WhatChanged() {
  return keyboard_.IsReady() ? watch_.WhatChanged(Read()) : kLayoutChanged;
}

KeyChords EisTypist::ChordsIn(const KeyEvent& press, Group group) {
  const TypingWatch::State& state = watch_.state;
  const std::uint32_t groups = std::min(state.layouts.count, keyboard_.groups());
  const std::uint32_t locked =
      keyboard_.lockedModifiers() | (state.modifiers.isCapsLockOn ? kLockOfCaps : 0);
  if (!group) return ChordsForAll(press, *keyboard_.keymap(), groups, locked);
  return *group < groups ? ChordsFor(press, *keyboard_.keymap(), {*group, locked}) : KeyChords();
}

bool EisTypist::HasAll(std::span<const KeyEvent> presses, Group group) {
  return std::none_of(presses.begin(), presses.end(),
                      [&](const KeyEvent& press) { return ChordsIn(press, group).empty(); });
}

// Returns a group that has keys for all events and that the desktop can select, or no value.
EisTypist::Group EisTypist::OtherGroupFor(std::span<const KeyEvent> presses) {
  if (!watch_.state.layouts.canSelect) return std::nullopt;
  for (std::uint32_t group = 0; group < keyboard_.groups(); ++group) {
    if (HasAll(presses, group)) return group;
  }
  return std::nullopt;
}

// Selects another layout, presses the keys, and selects the previous layout again. Returns null, or
// the reason for the failure.
const char* EisTypist::TypeIn(std::uint32_t other, std::span<const KeyEvent> presses) {
  const TypingWatch::State before = watch_.state;
  if (!before.layouts.active) return kLayoutChanged;
  note_.Write(other, *before.layouts.active);
  const char* reason = kLayoutChanged;
  if (watch_.Select(other)) {
    watch_.state.layouts.active = other;
    reason = WhatChanged();
    if (reason == nullptr) reason = Press(presses, other);
    if (reason == nullptr) reason = WhatChanged();
  }
  watch_.state = before;
  // A layout that the user has selected in the meantime remains selected. If the desktop does not
  // respond, Quillet restores the previous layout at its next start.
  const Group active = watch_.ActiveGroup();
  const bool isSelectedByUser = active && active != other && active != before.layouts.active;
  if (isSelectedByUser || watch_.Select(*before.layouts.active)) note_.Remove();
  return reason;
}

// Finds all keys before pressing the first one, because the desktop may replace the keymap as soon
// as a key is pressed. Returns null on success, otherwise the reason for stopping.
const char* EisTypist::Press(std::span<const KeyEvent> presses, Group group) {
  std::vector<std::vector<KeyStroke>> parts(1);  // all except the first begin with a dead key
  for (const KeyEvent& press : presses) {
    const KeyChords chords = ChordsIn(press, group);
    if (chords.size() > 1) parts.emplace_back();
    for (const KeyChord& chord : chords) AddStrokes(chord, parts.back());
  }
  Write(parts.front());
  for (auto part = std::next(parts.begin()); part != parts.end(); ++part) {
    AwaitReading();
    if (isEnding_) return kEnding;
    keyboard_.Dispatch();
    if (const char* const change = WhatChanged()) return change;
    Write(*part);
  }
  return nullptr;
}

// Pauses before a dead key, until applications have read the earlier keys or Quillet exits.
void EisTypist::AwaitReading() {
  const auto now = clock_.Now();
  const auto unread =
      std::clamp<std::chrono::nanoseconds>(allRead_ - now, 0ns, kMostDeadKeyPause - kDeadKeyPause);
  for (auto rest = kDeadKeyPause + unread; rest > 0ns && !isEnding_; rest -= kEndingCheck) {
    const auto some = std::min<std::chrono::nanoseconds>(rest, kEndingCheck);
    clock_.Sleep(std::chrono::duration_cast<std::chrono::microseconds>(some));
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
  watch_.KeysSent();
  const auto count = static_cast<int>(strokes.size());
  allRead_ = std::max(allRead_, clock_.Now()) + count * kReadingTimePerStroke;
}

}  // namespace quillet::platform::linux_desktop
