#include "platform/linux/X11KeyEvents.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/InputMethod.h"
#include "platform/linux/QtInputMethod.h"
#include "platform/linux/X11KeySequence.h"
#include "platform/linux/X11Keyboard.h"
#include "platform/linux/X11OwnKeys.h"
#include "platform/linux/X11OwnedProperty.h"
#include "platform/linux/X11SpareKeys.h"
#include "platform/linux/Xcb.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// Time that applications need to read a changed keymap. Until then, they use the old keymap.
constexpr auto kKeymapPause = 100ms;

// Maximum time for which End waits for the current record.
constexpr auto kEndLimit = 1s;
constexpr auto kEndPause = 10ms;

// Maximum number of attempts to send the next keys while the keymap or the locks keep changing.
constexpr int kMostAttempts = 50;

constexpr char kNoServer[] = "the X server cannot be reached";
constexpr char kNoKeymap[] = "the X server's keyboard layout cannot be read";
constexpr char kNoKey[] = "the keyboard layout has no key for one of the characters";
constexpr char kSlowKeys[] =
    "Slow Keys or Bounce Keys is on. Turn both off in the accessibility settings.";
constexpr char kUnsteady[] = "the keyboard layout kept changing";

constexpr char kTyping[] = "_QUILLET_TYPING";

constexpr char kTypable[] =
    "\n\t !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
    "abcdefghijklmnopqrstuvwxyz{|}~";

std::string TextOf(std::span<const KeyEvent> events) {
  std::string text;
  for (const KeyEvent& event : events) {
    if (event.down && event.character != 0 && event.flag != KeyFlag::kCommand) {
      text += event.character;
    }
  }
  return text;
}

// A short-lived connection that checks for properties that killed processes left behind.
class PropertyCheck : private XcbConnection {
 public:
  bool IsAnyAbandoned() const {
    if (IsBroken()) return false;
    return !X11OwnedProperty(xcb_, X11SpareKeys::kProperty).Abandoned().empty() ||
           !X11OwnedProperty(xcb_, kTyping).Abandoned().empty();
  }
};

}  // namespace

X11KeyEvents::X11KeyEvents(SystemLog& log, Clock& clock, std::uint32_t ownKeys)
    : clock_(clock), ownKeys_(ownKeys), failure_(log) {}

X11KeyEvents::~X11KeyEvents() = default;

void X11KeyEvents::Post(std::span<const KeyEvent> events) {
  const std::lock_guard lock(mutex_);
  if (ended_ || !Connect()) return;
  if (keyboard_->IgnoresFastKeys()) {
    Fail(kSlowKeys);
    return;
  }
  failure_.Clear();
  hasBound_ = false;
  isBindingNew_ = false;
  int attempts = 0;
  while (!ended_ && !events.empty()) {
    const std::size_t before = events.size();
    if (!PostSome(events)) break;
    attempts = events.size() == before ? attempts + 1 : 0;
    if (attempts == kMostAttempts && !Fail(kUnsteady)) break;
  }
  Unmark();
  xcb_flush(keyboard_->Xcb());
  if (keyboard_->IsBroken()) Fail(kNoServer);
}

std::string X11KeyEvents::Untypable(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (ended_ || !Connect()) return {};
  const X11KeyboardState state = keyboard_->ReadState();
  keyboard_->UpdateKeymap();
  if (!keyboard_->HasKeymap()) return {};  // Post reports the reason
  const std::string missing = CharactersWithoutKey(text, keyboard_->Search(), state.locks);
  const bool canBind = missing.empty() || spare_->IsBound() || !keyboard_->SpareCodes().empty();
  return canBind ? std::string() : missing;
}

void X11KeyEvents::Prepare() {
  const std::lock_guard lock(mutex_);
  if (!ended_) Connect();
}

// Connect restores the keyboard, but also reads the keymap. Calls Connect only if there is
// something to restore, so that reading the keymap does not delay every start.
void X11KeyEvents::Recover() {
  const std::lock_guard lock(mutex_);
  if (ended_ || keyboard_) return;
  const PropertyCheck check;
  if (check.IsAnyAbandoned()) Connect();
}

void X11KeyEvents::End() {
  ended_ = true;  // Post then stops after the current sequence
  // Polls, because the thread sanitizer of g++ 12 does not support std::timed_mutex: it does not
  // intercept pthread_mutex_clocklock().
  std::unique_lock lock(mutex_, std::try_to_lock);
  for (auto waited = 0ms; !lock && waited < kEndLimit; waited += kEndPause) {
    clock_.Sleep(kEndPause);
    static_cast<void>(lock.try_lock());
  }
  if (!lock) return;
  if (keyboard_) {
    for (const std::uint8_t code : std::exchange(pressedAgain_, {})) keyboard_->PutKey(code, false);
    Unmark();
    keyboard_->ReadState();  // waits for a reply, so that the server has processed the requests
  }
  if (spare_) Unbind();
  Forget();
}

std::string X11KeyEvents::Problem() {
  const std::lock_guard lock(mutex_);
  return failure_.Reason();
}

std::string X11KeyEvents::InputMethod() {
  const std::string engine = ActiveInputMethod();
  return engine.empty() ? QtInputMethodInFocus() : engine;
}

bool X11KeyEvents::Connect() {
  if (keyboard_ && !keyboard_->IsBroken()) {
    if (!keyboard_->CanTest()) return false;
    if (keyboard_->HasKeymap()) return true;
  }
  Forget();
  keyboard_ = std::make_unique<X11Keyboard>();
  if (keyboard_->IsBroken()) return Fail(kNoServer);
  if (!keyboard_->CanTest()) return Fail("the X server has no XTEST extension");
  if (!keyboard_->HasKeymap()) return Fail(kNoKeymap);
  spare_ = std::make_unique<X11SpareKeys>(keyboard_->Xcb());
  typing_ = std::make_unique<X11OwnedProperty>(keyboard_->Xcb(), kTyping);
  RestoreAbandoned();
  failure_.Clear();
  return true;
}

// Reports the failure. Returns false.
bool X11KeyEvents::Fail(const char* reason) {
  failure_.Set(reason);
  return false;
}

// Undoes the changes made by a process that was killed while typing.
void X11KeyEvents::RestoreAbandoned() {
  spare_->Recover();
  const std::vector<std::uint32_t> mark = typing_->Abandoned();
  if (mark.size() < 2) return;
  for (const auto code : keyboard_->ReadState().tested) keyboard_->PutKey(code, false);
  RestoreLocks(mark);
  typing_->Remove();
  keyboard_->ReadState();  // waits for a reply, so that the server has processed the requests
}

// Restores the locks, unless the user has changed them since the process was killed.
// @param mark  see Mark
void X11KeyEvents::RestoreLocks(const std::vector<std::uint32_t>& mark) {
  const X11Locks now = keyboard_->ReadState().locks;
  for (std::size_t i = 2; i + 1 < mark.size(); i += 2) {
    if (mark[i] != now.lockedModifiers || mark[i + 1] != now.lockedGroup) continue;
    // The group no longer exists if the user has removed a layout in the meantime.
    const std::uint32_t group = mark[1] < keyboard_->Search().Groups() ? mark[1] : now.lockedGroup;
    return keyboard_->PutLocks(
        {static_cast<std::uint8_t>(mark[0]), static_cast<std::uint8_t>(group), 0, 0}, true);
  }
}

void X11KeyEvents::Forget() {
  mark_.clear();
  pressedAgain_.clear();
  typing_.reset();
  spare_.reset();
  keyboard_.reset();
}

// Saves the locks for RestoreAbandoned. Called before the keys of a sequence are sent. If this
// process is killed, the server drops the requests that it has not yet processed. The locks can
// then stay changed, and a key can stay pressed.
//
// The property contains pairs of locked modifiers and locked group. The first pair is the user's.
// The other pairs are set by the sequence.
void X11KeyEvents::Mark(const X11KeySequence& sequence) {
  std::vector<std::uint32_t> mark = sequence.Marks();
  if (mark == mark_) return;
  typing_->Write(mark);
  mark_ = std::move(mark);
}

// Removes the property if no keys are pressed on the XTEST keyboard. Otherwise, keeps only the
// user's locks in the property, so that the next start releases the keys if this process is killed.
void X11KeyEvents::Unmark() {
  if (mark_.empty()) return;
  if (pressedAgain_.empty()) {
    typing_->Remove();
    mark_.clear();
  } else if (mark_.size() > 2) {
    mark_.resize(2);
    typing_->Write(mark_);
  }
}

// Performs one step: reads a changed keymap, binds characters, or sends the first events and
// removes them from `events`. Returns false if no more events can be sent.
bool X11KeyEvents::PostSome(std::span<const KeyEvent>& events) {
  const X11KeyboardState state = keyboard_->ReadState();
  const bool isNew = keyboard_->UpdateKeymap();
  if (keyboard_->IsBroken()) return Fail(kNoServer);
  if (!keyboard_->HasKeymap()) return Fail(kNoKeymap);
  if (isNew) {
    clock_.Sleep(kKeymapPause);
    return true;
  }
  // Binds characters before the first key of a record. Xlib reads the keymap when a program
  // translates its first key, and would miss a change at that moment.
  if (BindFirst(events, state)) return true;
  const std::size_t before = events.size();
  if (!SendSome(events, state)) return true;
  const bool wasBound = std::exchange(isBindingNew_, events.size() == before);
  if (!isBindingNew_) return true;
  return (!wasBound && Bind(events, state)) || Fail(kNoKey);
}

// Grabs the server, so that no other program changes the keyboard between reading its state and
// sending the keys. Prepares the sequence before the grab, so that other programs wait for only one
// round trip. If the keymap or the locks have changed, sends nothing and returns false.
bool X11KeyEvents::SendSome(std::span<const KeyEvent>& events, const X11KeyboardState& expected) {
  KeymapSearch& search = keyboard_->Search();
  std::optional<X11KeySequence> sequence(std::in_place, search, expected);
  std::size_t count = sequence->Add(events);
  if (count == 0) return true;
  keyboard_->Grab();
  const X11KeyboardState state = keyboard_->ReadState();
  const bool isSame = !keyboard_->IsKeymapChanged() && state.locks == expected.locks;
  if (isSame) {
    if (state != expected) {
      sequence.emplace(search, state);
      count = sequence->Add(events);
    }
    sequence->Finish();
    Mark(*sequence);
    Send(*sequence);
    events = events.subspan(count);
  }
  keyboard_->Ungrab();
  lastKey_ = clock_.Now();
  if (isSame) ReleaseUnheld(sequence->PressedAgain(), state);
  return isSame;
}

// Releases the keys in `codes` that the user no longer holds. Keys that another program has pressed
// stay down. The server ignores the release of a key that the sequence has already released.
void X11KeyEvents::ReleaseUnheld(std::vector<std::uint8_t> codes, const X11KeyboardState& before) {
  const auto contains = [](const std::vector<std::uint8_t>& list, std::uint8_t code) {
    return std::find(list.begin(), list.end(), code) != list.end();
  };
  std::erase_if(codes, [&](std::uint8_t code) {
    return contains(before.tested, code) && !contains(pressedAgain_, code);
  });
  pressedAgain_ = keyboard_->HeldByUser(codes);
  for (const std::uint8_t code : codes) {
    if (!contains(pressedAgain_, code)) keyboard_->PutKey(code, false);
  }
  xcb_flush(keyboard_->Xcb());
}

void X11KeyEvents::Send(const X11KeySequence& sequence) {
  std::span<const X11KeySequence::Step> steps = sequence.Steps();
  while (!steps.empty()) {
    std::vector<KeyStroke> announced;
    std::size_t count = 0;
    for (; count < steps.size() && announced.size() < kMostAnnounced; ++count) {
      if (!steps[count].locks) announced.push_back(steps[count].stroke);
    }
    if (ownKeys_ != 0) AnnounceKeys(keyboard_->Xcb(), ownKeys_, announced);
    for (const X11KeySequence::Step& step : steps.first(count)) {
      if (step.locks) {
        keyboard_->PutLocks(*step.locks, true);
      } else {
        keyboard_->PutKey(static_cast<std::uint8_t>(step.stroke.code + kXCodeOffset),
                          step.stroke.down);
      }
    }
    if (ownKeys_ != 0) ConfirmKeys(keyboard_->Xcb(), ownKeys_);
    steps = steps.subspan(count);
  }
}

// On the first call, binds the characters of a record that have no key. Returns false on later
// calls, if all characters have keys, or if no characters can be bound.
bool X11KeyEvents::BindFirst(std::span<const KeyEvent> events, const X11KeyboardState& state) {
  if (std::exchange(hasBound_, true)) return false;
  return !CharactersWithoutKey(TextOf(events), keyboard_->Search(), state.locks).empty() &&
         Bind(events, state);
}

// Binds the characters of `events` that have no key, then other typable characters, so that a run
// rarely needs another binding. Grabs the server, so that no application reads the keymap before
// all are bound. Returns false if no characters can be bound.
bool X11KeyEvents::Bind(std::span<const KeyEvent> events, const X11KeyboardState& state) {
  if (spare_->IsBound()) {
    Unbind();
    keyboard_->UpdateKeymap();
    if (!keyboard_->HasKeymap()) return true;  // the next attempt to type reports the reason
  }
  const std::string wanted =
      CharactersWithoutKey(TextOf(events) + kTypable, keyboard_->Search(), state.locks);
  const std::vector<std::uint32_t> codes = keyboard_->SpareCodes();
  spare_->ReadTypes();
  keyboard_->Grab();
  keyboard_->ReadState();  // waits for a reply, so that all changes have been reported
  const bool isChanged = keyboard_->IsKeymapChanged();
  const bool canGoOn = isChanged || spare_->Bind(wanted, codes) != 0;
  keyboard_->Ungrab();
  if (isChanged) {
    hasBound_ = false;
    isBindingNew_ = false;
  }
  return canGoOn;
}

// Waits until applications have read the keys sent so far, then removes the bindings.
void X11KeyEvents::Unbind() {
  const auto sinceLastKey = clock_.Now() - lastKey_;
  if (spare_->IsBound() && sinceLastKey < kKeymapPause) {
    clock_.Sleep(std::chrono::ceil<std::chrono::microseconds>(kKeymapPause - sinceLastKey));
  }
  spare_->Restore();
}

}  // namespace quillet::platform::linux_desktop
