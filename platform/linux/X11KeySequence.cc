#include "platform/linux/X11KeySequence.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <set>
#include <utility>

namespace quillet::platform::linux_desktop {
namespace {

// Real modifiers of the X protocol.
constexpr std::uint8_t kShiftModifier = 1 << 0;
constexpr std::uint8_t kCapsLockModifier = 1 << 1;
constexpr std::uint8_t kControlModifier = 1 << 2;
constexpr std::uint8_t kNumLockModifier = 1 << 4;                       // Mod2 in xkeyboard-config
constexpr std::uint8_t kCommands = kControlModifier | 1 << 3 | 1 << 6;  // Control, Mod1 and Mod4

// Limits the time for which a sequence blocks other programs. This many steps fit in XCB's buffer,
// so the server does not wait for this process.
constexpr std::size_t kMostSteps = 250;

// Returns the locked modifiers, except those that turn keys into commands.
std::uint8_t NeutralLocks(const X11Locks& locks) {
  return static_cast<std::uint8_t>(locks.lockedModifiers & ~kCommands);
}

struct FoundKeys {
  const KeyChord* chord;
  std::uint8_t lockedModifiers;  // the chord requires these locks, and no others
};

// Finds the keys that type a character. Tries the current locks, then only the user's Num Lock,
// then no locks.
// @param user     the user's locks
// @param current  the modifiers that are locked now
std::optional<FoundKeys> FindKeys(KeymapSearch& keymap, char character, const X11Locks& user,
                                  std::uint8_t current) {
  const auto numLock = static_cast<std::uint8_t>(user.lockedModifiers & kNumLockModifier);
  for (const std::uint8_t locked : {current, numLock, std::uint8_t{0}}) {
    const auto* const chord = keymap.Find(character, {user.lockedGroup, locked});
    if (chord != nullptr) return FoundKeys{chord, locked};
  }
  return std::nullopt;
}

}  // namespace

std::string CharactersWithoutKey(std::string_view text, KeymapSearch& keymap,
                                 const X11Locks& locks) {
  std::string missing;
  for (const char character : text) {
    if (missing.find(character) != std::string::npos) continue;
    if (!FindKeys(keymap, character, locks, NeutralLocks(locks))) missing += character;
  }
  return missing;
}

X11KeySequence::X11KeySequence(KeymapSearch& keymap, X11KeyboardState state)
    : keymap_(keymap), state_(std::move(state)), locks_(state_.locks) {
  for (const auto code : state_.down) Put(code, false);
  for (const auto code : state_.tested) {
    if (!IsDown(code)) Put(code, false);
  }
  X11Locks neutral = state_.locks;
  neutral.lockedModifiers = NeutralLocks(state_.locks);
  neutral.latchedModifiers = 0;
  neutral.latchedGroup = 0;
  Change(neutral);
}

std::size_t X11KeySequence::Add(std::span<const KeyEvent> events) {
  std::size_t count = 0;
  for (const KeyEvent& event : events) {
    if (event.down && steps_.size() >= kMostSteps) break;
    if (!AddEvent(event)) break;
    ++count;
  }
  return count;
}

void X11KeySequence::Finish() {
  Change(state_.locks);
  const KeyboardState neutral{state_.locks.lockedGroup, state_.locks.lockedModifiers};
  for (const auto code : state_.down) {
    if (!keymap_.IsModifier(code, neutral)) continue;
    Put(code, true);
    pressedAgain_.push_back(code);
  }
}

std::vector<std::uint32_t> X11KeySequence::Marks() const {
  std::set<std::pair<std::uint32_t, std::uint32_t>> changed;
  for (const Step& step : steps_) {
    if (step.locks) changed.emplace(step.locks->lockedModifiers, step.locks->lockedGroup);
  }
  std::vector<std::uint32_t> marks{state_.locks.lockedModifiers, state_.locks.lockedGroup};
  for (const auto& [modifiers, group] : changed) {
    marks.push_back(modifiers);
    marks.push_back(group);
  }
  return marks;
}

bool X11KeySequence::AddEvent(const KeyEvent& event) {
  if (!event.down && lastKey_ == event.virtualKey) {
    Put(lastCode_, false);
    lastKey_.reset();
    return true;
  }
  std::optional<KeyChord> chord;
  if (event.down && event.character != 0) {
    chord = event.flag == KeyFlag::kCommand ? Shortcut(event.character) : Typed(event.character);
    if (!chord && event.flag != KeyFlag::kCommand) return false;
  }
  if (chord) {
    Press(*chord);
    lastKey_ = event.virtualKey;
    lastCode_ = chord->code;
    return true;
  }
  ToKeyStrokes({&event, 1}, (locks_.lockedModifiers & kCapsLockModifier) != 0,
               [&](KeyStroke stroke) {
                 steps_.push_back({stroke, {}});
               });
  return true;
}

std::optional<KeyChord> X11KeySequence::Typed(char character) {
  const auto found = FindKeys(keymap_, character, state_.locks, locks_.lockedModifiers);
  if (!found) return std::nullopt;
  X11Locks locks = locks_;
  locks.lockedModifiers = found->lockedModifiers;
  Change(locks);
  return *found->chord;
}

// Returns Control and the letter, or Shift-Insert (which also pastes) if no key types the letter.
std::optional<KeyChord> X11KeySequence::Shortcut(char letter) {
  const std::uint32_t group = state_.locks.lockedGroup;
  auto chord = keymap_.FindPlain(KeysymOf(letter), {group, 0});
  const std::uint8_t modifier = chord ? kControlModifier : kShiftModifier;
  if (!chord) chord = keymap_.FindPlain(XKB_KEY_Insert, {group, 0});
  const std::uint32_t key = keymap_.ModifierKey(modifier, {group, 0});
  if (!chord || key == 0) return std::nullopt;
  chord->modifiers = {key};
  X11Locks locks = locks_;
  locks.lockedModifiers &= static_cast<std::uint8_t>(~kShiftModifier);
  Change(locks);
  return chord;
}

void X11KeySequence::Press(const KeyChord& chord) {
  X11Locks locks = locks_;
  locks.lockedGroup = static_cast<std::uint8_t>(chord.group);
  Change(locks);
  for (const auto modifier : chord.modifiers) Put(modifier, true);
  Put(chord.code, true);
  for (auto key = chord.modifiers.rbegin(); key != chord.modifiers.rend(); ++key) {
    Put(*key, false);
  }
}

void X11KeySequence::Put(std::uint32_t code, bool down) {
  steps_.push_back({{static_cast<std::uint16_t>(code - kXCodeOffset), down}, {}});
}

void X11KeySequence::Change(const X11Locks& locks) {
  if (locks == locks_) return;
  locks_ = locks;
  steps_.push_back({{}, locks});
}

bool X11KeySequence::IsDown(std::uint8_t code) const {
  return std::find(state_.down.begin(), state_.down.end(), code) != state_.down.end();
}

}  // namespace quillet::platform::linux_desktop
