#include "platform/linux/PortalKeyEvents.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "base/Log.h"
#include "platform/linux/EisKeyboard.h"
#include "platform/linux/EisTypist.h"
#include "platform/linux/KeysymTypist.h"
#include "platform/linux/RemoteDesktop.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto kAnswerLimit = 3s;

// Extra time for which Post waits for the portal, so that Serve can report a missing portal first.
constexpr auto kMissingPortalMargin = 1s;

// Keys that an application has not read yet must fit in its socket buffer, as in WaylandKeyEvents.
constexpr std::size_t kPressesAtOnce = 70;
constexpr std::chrono::nanoseconds kTimePerPress = 800us;
constexpr auto kPressPause = 10ms;

// Time that applications need to prepare for a new keyboard.
constexpr auto kNewEisKeyboardPause = 300ms;
constexpr auto kEisLimit = 3s;  // less than the time-out of a record request, 5 s

constexpr auto kEndLimit = 1s;

// Returns a connected keyboard, or null if the portal or the system does not support libei.
std::unique_ptr<EisKeyboard> MakeEisKeyboard(RemoteDesktop& desktop) {
  if (!EisKeyboard::HasLibrary()) return nullptr;
  UniqueFd connection = desktop.ConnectToEis();
  if (!connection.IsOpen()) return nullptr;
  return std::make_unique<EisKeyboard>(std::move(connection));
}

// Returns the path of the file `name` in the same folder as `path`. Returns an empty path if `path`
// is empty.
std::string NextTo(const std::string& path, const char* name) {
  return path.empty() ? path : path.substr(0, path.rfind('/') + 1) + name;
}

}  // namespace

PortalKeyEvents::PortalKeyEvents(SystemLog& log, Clock& clock, FileStore& files, SentKeys& sent,
                                 std::string tokenFile, std::chrono::seconds patience,
                                 SessionLayout* layout)
    : log_(log),
      clock_(clock),
      sent_(sent),
      patience_(patience),
      layout_(layout),
      note_(NextTo(tokenFile, "typing-layout")),
      permission_(files, std::move(tokenFile)),
      pace_(clock, kTimePerPress, kPressesAtOnce, kPressPause),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      failure_(log) {}

PortalKeyEvents::~PortalKeyEvents() {
  isStopping_ = true;
  Wake();
  if (thread_.joinable()) thread_.join();
}

void PortalKeyEvents::Prepare() {
  std::thread earlier;
  {
    const std::lock_guard lock(mutex_);
    const bool hasSession = state_ == State::kReady || state_ == State::kNotReady;
    if (state_ == State::kAsking || hasSession) return;
    state_ = State::kAsking;
    answerLimit_ = steady_clock::now() +
                   std::max<std::chrono::seconds>(patience_ + kMissingPortalMargin, kAnswerLimit);
    earlier.swap(thread_);
  }
  if (earlier.joinable()) earlier.join();
  const std::lock_guard lock(mutex_);
  thread_ = std::thread([this] { Serve(); });
}

bool PortalKeyEvents::IsMissing() {
  return AwaitAnswer() == State::kMissing;
}

void PortalKeyEvents::Post(std::span<const KeyEvent> events) {
  std::vector<KeyEvent> presses;
  for (const KeyEvent& event : events) {
    if (event.down && event.character != '\0') presses.push_back(event);
  }
  {
    const std::lock_guard lock(mutex_);
    failure_.Clear();
    dropReason_.clear();
  }
  bool isFirst = true;
  for (std::span<const KeyEvent> rest = presses; !rest.empty();) {
    const auto some = rest.first(std::min(rest.size(), kPressesAtOnce));
    rest = rest.subspan(some.size());
    if (!Send(some, std::exchange(isFirst, false))) return;
  }
}

std::string PortalKeyEvents::Untypable(std::string_view text) {
  std::string missing;
  Do([&](PortalTypist& typist) {
    if (AwaitKeyboard()) missing = typist.Untypable(text);
  });
  return missing;
}

void PortalKeyEvents::End() {
  std::unique_lock lock(mutex_);
  isEnding_ = true;
  changed_.wait_for(lock, kEndLimit, [this] { return job_ == nullptr; });
}

void PortalKeyEvents::OnReadiness(const std::function<void(const std::string& problem)>& changed) {
  onReadiness_ = changed;
}

std::string PortalKeyEvents::Problem() {
  const std::lock_guard lock(mutex_);
  if (!dropReason_.empty()) return dropReason_;
  return failure_.Reason().empty() ? ProblemOf(state_) : failure_.Reason();
}

const char* PortalKeyEvents::ProblemOf(State state) {
  switch (state) {
    case State::kReady:
      return "";
    case State::kIdle:
    case State::kAsking:
      return "permission has not been granted yet. Allow remote control when the desktop asks.";
    case State::kNotReady:
      return "the desktop is not accepting keystrokes from Quillet. If this continues, log out and "
             "back in.";
    case State::kDenied:
      return "permission was denied. To request it again, press Settings, then Save.";
    case State::kEnded:
      return "permission was revoked. To request it again, press Settings, then Save.";
    case State::kMissing:
      return "the desktop has no remote desktop portal";
    case State::kFailed:
      return "the remote desktop portal is not working. Log out and back in.";
  }
  return "";
}

void PortalKeyEvents::Serve() {
  RemoteDesktop desktop(clock_, [this] { return isStopping_.load(); });
  std::string token = permission_.Read();
  if (!desktop.Connect(patience_)) return SetState(State::kMissing);
  note_.Undo();  // again, because the desktop may have started later than Quillet
  if (token.empty()) LimitAnswer(kAnswerLimit);
  switch (desktop.Start(token)) {
    case RemoteDesktop::Answer::kDenied:
      return SetState(State::kDenied);
    case RemoteDesktop::Answer::kFailed:
      return SetState(State::kFailed);
    case RemoteDesktop::Answer::kGranted:
      break;
  }
  permission_.Write(token);
  const auto keyboard = MakeEisKeyboard(desktop);
  keyboard_ = keyboard.get();
  if (keyboard == nullptr) {
    Log(log_, "Typing through the desktop portal");
    KeysymTypist typist(desktop, layout_, clock_, sent_);
    return ServeSession(desktop, typist);
  }
  Log(log_, "Typing through the desktop portal and libei");
  EisTypist typist(*keyboard, clock_, sent_, note_, isEnding_);
  ServeSession(desktop, typist);
}

void PortalKeyEvents::ServeSession(RemoteDesktop& desktop, PortalTypist& typist) {
  knownDevices_ = 0;
  if (AwaitKeyboard()) SetState(State::kReady);
  while (!isStopping_ && !HasEnded(desktop)) {
    desktop.Wait(wake_.Get(), keyboard_ == nullptr ? -1 : keyboard_->descriptor());
    if (keyboard_ != nullptr) keyboard_->Dispatch();
    if (HasEnded(desktop)) break;
    if (IsInState(State::kNotReady) && keyboard_->IsReady() && AwaitKeyboard()) {
      SetState(State::kReady);
    }
    std::uint64_t count = 0;
    if (read(wake_.Get(), &count, sizeof count) > 0) RunJob(desktop, typist);
  }
  SetState(State::kEnded);
}

bool PortalKeyEvents::HasEnded(const RemoteDesktop& desktop) const {
  return desktop.HasEnded() || (keyboard_ != nullptr && keyboard_->HasEnded());
}

// The mutex is not held while the job runs, because the desktop may be slow to respond. The caller
// of Do keeps the job valid until the job is done.
void PortalKeyEvents::RunJob(RemoteDesktop& desktop, PortalTypist& typist) {
  const Job* job = nullptr;
  {
    const std::lock_guard lock(mutex_);
    job = job_;
  }
  if (job == nullptr) return;
  (*job)(typist);
  if (HasEnded(desktop)) return;  // ServeSession then ends the job (see SetState)
  const std::lock_guard lock(mutex_);
  job_ = nullptr;
  changed_.notify_all();
}

// Waits until the keyboard accepts keys. The desktop replaces the keyboard when the layout changes.
bool PortalKeyEvents::AwaitKeyboard() {
  if (keyboard_ == nullptr) return true;
  keyboard_->Dispatch();
  const auto end = steady_clock::now() + kEisLimit;
  while (!isStopping_ && !keyboard_->HasEnded() && steady_clock::now() < end) {
    if (keyboard_->IsReady()) {
      if (std::exchange(knownDevices_, keyboard_->devices()) == keyboard_->devices()) return true;
      clock_.Sleep(kNewEisKeyboardPause);
    } else {
      pollfd poll{keyboard_->descriptor(), POLLIN, 0};
      ::poll(&poll, 1, 100);
    }
    keyboard_->Dispatch();
  }
  if (!keyboard_->HasEnded()) SetState(State::kNotReady);
  return false;
}

bool PortalKeyEvents::IsInState(State state) {
  const std::lock_guard lock(mutex_);
  return state_ == state;
}

void PortalKeyEvents::SetState(State state) {
  if (isStopping_) return;
  if (state == State::kMissing) {  // another typing method may still work
    log_.Write("The desktop has no remote desktop portal");
  } else if (const std::string problem = ProblemOf(state); !problem.empty()) {
    Log(log_, "Quillet cannot type on this desktop: ", problem);
  }
  {
    const std::lock_guard lock(mutex_);
    state_ = state;
    const bool hasSession = state == State::kReady || state == State::kNotReady;
    if (!hasSession) job_ = nullptr;
    changed_.notify_all();
  }
  if (onReadiness_ && state != State::kNotReady) onReadiness_(ProblemOf(state));
}

// Allows Post to wait for permission for up to `limit` from now.
void PortalKeyEvents::LimitAnswer(std::chrono::seconds limit) {
  const std::lock_guard lock(mutex_);
  answerLimit_ = steady_clock::now() + limit;
  changed_.notify_all();
}

PortalKeyEvents::State PortalKeyEvents::AwaitAnswer() {
  std::unique_lock lock(mutex_);
  while (state_ == State::kAsking && steady_clock::now() < answerLimit_) {
    changed_.wait_until(lock, steady_clock::time_point(answerLimit_));
  }
  return state_;
}

// Runs a job on this object's thread, waits until it is done or the session has ended, and returns
// null. If typing is not permitted, does nothing and returns the reason.
const char* PortalKeyEvents::Do(const Job& job) {
  AwaitAnswer();
  std::unique_lock lock(mutex_);
  if (isEnding_ || state_ != State::kReady) return ProblemOf(isEnding_ ? State::kEnded : state_);
  job_ = &job;
  Wake();
  changed_.wait(lock, [this] { return job_ == nullptr; });
  return nullptr;
}

// Sends key presses at a limited rate. If not all keys were pressed, returns false and stores the
// reason, because the state may change before Problem is called.
bool PortalKeyEvents::Send(std::span<const KeyEvent> presses, bool isFirst) {
  pace_.Wait(presses.size());
  const char* failure = nullptr;
  const char* unready = ProblemOf(State::kEnded);  // the reason if the session ends during the job
  const char* const refusal = Do([&](PortalTypist& typist) {
    if (!AwaitKeyboard()) {
      unready = ProblemOf(State::kNotReady);
      return;
    }
    if (isFirst) typist.Begin();
    failure = typist.Type(presses);
    unready = nullptr;
  });
  if (refusal != nullptr) unready = refusal;
  const std::lock_guard lock(mutex_);
  if (failure != nullptr) failure_.Set(failure);
  if (unready != nullptr) dropReason_ = unready;
  return failure == nullptr && unready == nullptr;
}

void PortalKeyEvents::Wake() {
  const std::uint64_t one = 1;
  if (write(wake_.Get(), &one, sizeof one) < 0) return;  // fails only if wake_ is already readable
}

}  // namespace quillet::platform::linux_desktop
