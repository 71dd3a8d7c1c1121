#include "app/ApplicationDelivery.h"

#include <utility>
#include <vector>

#include "base/Log.h"
#include "base/Utf8.h"
#include "device/Settings.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::KeyEvent;
using platform::KeyFlag;

constexpr KeyValue kKeyV = 9;

// Pause before and after pressing the paste keys. The first pause gives the clipboard time to
// become ready. The second gives the application time to read the clipboard before the next record
// replaces its contents.
constexpr auto kPastePause = 100ms;

// Time between two checks of the input method, which the user can switch at any time.
constexpr auto kInputMethodPause = 1s;

void AddKey(std::vector<KeyEvent>& events, KeyValue key, KeyFlag flag) {
  const std::uint16_t virtualKey = key & kKeyCodeMask;
  const char character = CharacterOfKey(key);
  events.push_back({virtualKey, true, flag, character});
  events.push_back({virtualKey, false, KeyFlag::kNone, character});
}

void PressKey(platform::KeyEvents& backend, KeyValue key, KeyFlag flag) {
  std::vector<KeyEvent> press;
  AddKey(press, key, flag);
  backend.Post(press);
}

KeyFlag FlagOf(KeyValue key) {
  return key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone;
}

std::string AsSentence(const std::string& problem) {
  return problem + (problem.ends_with('.') ? "" : ".");
}

std::string CannotType(const std::string& problem) {
  return "Quillet cannot type on this desktop: " + AsSentence(problem);
}

std::string NamesOf(const std::string& characters) {
  std::string names;
  for (const char character : characters) {
    if (!names.empty()) names += ' ';
    names += character == '\n' ? "Return" : character == '\t' ? "Tab" : std::string(1, character);
  }
  return names;
}

}  // namespace

ApplicationDelivery::ApplicationDelivery(const Platform& platform, StatusStrip& strip,
                                         Actions actions)
    : platform_(platform), strip_(strip), actions_(std::move(actions)) {
  platform_.keyEvents.OnReadiness([this](const std::string& problem) { ShowReadiness(problem); });
}

DeliveryOutcome ApplicationDelivery::Deliver(const std::string& record, bool paste) {
  const std::lock_guard lock(delivering_);
  // BeginRecord returns true if Quillet's windows have apparently stopped receiving keystrokes. If
  // the main thread handles an earlier keystroke late, KeyIgnored raises kTypedAtQuillet again.
  if (count_.BeginRecord(platform_.clock.Now())) {
    strip_.Withdraw(Notice::kTypedAtQuillet);
    RaiseIncomplete("Quillet's window had focus, so some records were not delivered.");
  }
  const DeliveryOutcome outcome = paste ? Paste(record) : Type(record);
  const bool accepted = ShowProblem();
  if (outcome != DeliveryOutcome::kDelivered || accepted) return outcome;
  count_.Remove();
  return DeliveryOutcome::kNoTyping;
}

// Posts all keys of a record in one call, so that a backend releases the modifiers held by the user
// only once per record. Counts the record before the call, because KeyIgnored may be called before
// Post returns.
DeliveryOutcome ApplicationDelivery::Type(const std::string& record) {
  if (!IsAscii(record)) {
    if (!nonAsciiSaid_.exchange(true)) RaiseNotTyped("it contains non-English characters");
    return DeliveryOutcome::kRefused;
  }
  std::string text;
  std::vector<KeyEvent> events;
  for (const char character : record) {
    const KeyValue key = KeyForCharacter(static_cast<unsigned char>(character));
    if (key == kNoKey) continue;
    text += character;
    AddKey(events, key, FlagOf(key));
  }
  if (!events.empty()) {
    ShowInputMethod();
    if (IsRefused(platform_.keyEvents.Untypable(text))) return DeliveryOutcome::kRefused;
  }
  count_.Add();
  if (events.empty()) return DeliveryOutcome::kNoKeys;
  platform_.keyEvents.Post(events);
  return DeliveryOutcome::kDelivered;
}

void ApplicationDelivery::ShowInputMethod() {
  const bool isDue = platform_.clock.Now() - lastCheck_ >= kInputMethodPause;
  if (!mustCheck_.exchange(false) && !isDue) return;
  const std::string name = platform_.keyEvents.InputMethod();
  lastCheck_ = platform_.clock.Now();
  if (inputMethod_.Get() == name) return;
  inputMethod_.Set(name);
  if (name.empty()) return strip_.Withdraw(Notice::kInputMethodOn);
  strip_.Raise(Notice::kInputMethodOn,
               "The input method " + name +
                   " is on and may change what Quillet types. Turn it off, or turn on \"Paste text "
                   "instead of typing it\" in the settings.");
}

bool ApplicationDelivery::IsRefused(const std::string& untypable) {
  if (untypable.empty()) return false;
  const std::string names = NamesOf(untypable);
  Log(platform_.log, "-[SyncController DisplayBarcode:]", ":Couldn't type ", names);
  RaiseNotTyped("the keyboard layout has no key for " + names);
  return true;
}

void ApplicationDelivery::RaiseNotTyped(const std::string& reason) {
  strip_.Raise(Notice::kRecordNotTyped,
               "A record was not typed: " + reason +
                   ". Turn on \"Paste text instead of typing it\" in the settings.",
               {{"Show", actions_.showRuns}});
}

DeliveryOutcome ApplicationDelivery::Paste(const std::string& record) {
  // If SetString fails, Command-V would paste the old contents of the clipboard.
  if (!platform_.pasteboard.SetString(record)) {
    Log(platform_.log, "-[SyncController DisplayBarcode:]", ":Couldn't set pasteboard");
    if (!pastingFailed_.exchange(true)) {
      RaiseUndelivered(Notice::kPastingImpossible,
                       "A record was not pasted: the clipboard is not available.",
                       "The record is in the archive.",
                       "The record was not saved either. Scan or synchronize again.");
    }
    return DeliveryOutcome::kNoClipboard;
  }
  if (pastingFailed_.exchange(false)) {
    strip_.Withdraw(Notice::kPastingImpossible);
    RaiseIncomplete("Some text was not pasted: the clipboard was not available.");
  }
  count_.Add();
  platform_.clock.Sleep(kPastePause);
  SendCommandAndV();
  platform_.clock.Sleep(kPastePause);
  return DeliveryOutcome::kDelivered;
}

// Updates the messages about typing problems. Returns true if the system accepted the keys of the
// last record.
bool ApplicationDelivery::ShowProblem() {
  const std::string problem = platform_.keyEvents.Problem();
  const std::string earlier = typingProblem_.Get();
  if (problem.empty()) WithdrawWarning();
  if (earlier == problem) return problem.empty();
  typingProblem_.Set(problem);
  if (problem.empty()) {
    strip_.Withdraw(Notice::kTypingImpossible);
    RaiseIncomplete("Some text was not typed: " + AsSentence(earlier));
    return true;
  }
  RaiseTypingImpossible(problem);
  return false;
}

// Shows or removes the warning that records cannot be typed. After a record has been lost, the
// warning remains until a record is typed.
void ApplicationDelivery::ShowReadiness(const std::string& problem) {
  if (!problem.empty()) {
    isWarned_ = true;
    RaiseTypingImpossible(problem);
  } else if (typingProblem_.Get().empty()) {
    WithdrawWarning();
  }
}

void ApplicationDelivery::WithdrawWarning() {
  if (isWarned_.exchange(false)) strip_.Withdraw(Notice::kTypingImpossible);
}

void ApplicationDelivery::RaiseTypingImpossible(const std::string& problem) {
  std::vector<StripAction> actions;
  if (!actions_.guide.empty()) {
    actions.push_back({"Open guide", [this] { platform_.workspace.OpenFile(actions_.guide); }});
  }
  strip_.Raise(Notice::kTypingImpossible, CannotType(problem), std::move(actions));
}

std::string ApplicationDelivery::TypingMessage() const {
  return CannotType(typingProblem_.Get());
}

void ApplicationDelivery::RunBegan() {
  count_.Reset();
  nonAsciiSaid_ = false;
  pastingFailed_ = false;
  typingProblem_.Set("");
  inputMethod_.Set("");
  mustCheck_ = true;
  for (const Notice notice :
       {Notice::kTypedAtQuillet, Notice::kPastingImpossible, Notice::kTypingImpossible,
        Notice::kRecordNotTyped, Notice::kInputMethodOn}) {
    strip_.Withdraw(notice);
  }
}

void ApplicationDelivery::KeyIgnored() {
  if (!count_.ExcludeLast(platform_.clock.Now())) return;
  RaiseUndelivered(Notice::kTypedAtQuillet,
                   "Quillet's window had focus, so the records were not delivered.",
                   "They are in the archive. Click the target window before you scan.",
                   "The records were not saved either. Click the target window, then scan or "
                   "synchronize again.");
}

// Shows a message saying that earlier records were not delivered. It stays until the next run
// begins.
void ApplicationDelivery::RaiseIncomplete(const std::string& problem) {
  RaiseUndelivered(Notice::kRecordNotTyped, problem, "The records are in the archive.",
                   "The records were not saved either. Scan or synchronize again.");
}

void ApplicationDelivery::RaiseUndelivered(Notice notice, const std::string& problem,
                                           const std::string& archived, const std::string& lost) {
  if (actions_.isArchived()) {
    strip_.Raise(notice, problem + " " + archived, {{"Show", actions_.showRuns}});
  } else {
    strip_.Raise(notice, problem + " " + lost);
  }
}

void ApplicationDelivery::SendKeyCode(KeyValue key) {
  PressKey(platform_.keyEvents, key, FlagOf(key));
}

void ApplicationDelivery::SendCommandAndV() {
  PressKey(platform_.keyEvents, kKeyV, KeyFlag::kCommand);
}

void ApplicationDelivery::AwaitReadiness(std::int32_t destination) {
  if (destination != kToFile && destination != kToView) platform_.keyEvents.AwaitReadiness();
}

void ApplicationDelivery::Prepare(std::int32_t destination) {
  // Uses an exchange instead of a store to synchronize with EndOfRun on another thread: if EndOfRun
  // has found nothing to prepare, isReceiving returns false here.
  toPrepare_.exchange(destination);
  if (!actions_.isReceiving()) EndOfRun();
}

void ApplicationDelivery::EndOfRun() {
  const std::int32_t destination = toPrepare_.exchange(kNothingToPrepare);
  if (destination == kNothingToPrepare) return;
  if (destination == kToFile || destination == kToView) return WithdrawWarning();
  platform_.keyEvents.Prepare();
}

}  // namespace quillet
