#include "app/Redelivery.h"

#include <chrono>
#include <cstdint>
#include <utility>

#include "app/SettingsEditor.h"
#include "base/ShownText.h"
#include "device/ByteField.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestWait = 60s;
constexpr auto kWindowPoll = 100ms;
constexpr auto kAnswerPoll = 1ms;
constexpr int kAnswerPolls = 2000;
// Time for which another application must have focus before a delivery starts. While the focus
// moves from one Quillet window to another, neither window has focus. The user may also need time
// to click a field in the other application's window.
constexpr auto kSettlingTime = 1s;

}  // namespace

Redelivery::Redelivery(const Parts& parts)
    : parts_(parts), reader_(parts.platform.log, parts.platform.files, parts.archive.folder()) {}

void Redelivery::Start(const StoredRun& run) {
  if (parts_.run.IsInProgress()) {
    return parts_.window.ShowMessage(
        "A synchronization is in progress. You can deliver the records when it has finished.");
  }
  stopped_ = false;
  parts_.window.ShowDelivering(true);
  if (thread_.Start([this, run] { DeliverOnThread(run); })) return;
  parts_.window.ShowDelivering(false);
  parts_.window.ShowMessage("Delivery could not start. Restart Quillet.");
}

void Redelivery::DeliverOnThread(const StoredRun& run) {
  Report(Deliver(run));
  parts_.platform.mainQueue.Async([this] {
    parts_.window.ShowDelivering(false);
    thread_.Clear();
  });
}

// Delivers the records of a run. Returns the message to show afterwards.
std::string Redelivery::Deliver(const StoredRun& run) {
  const std::int32_t destination = parts_.settings.destination;
  if (destination == kToFile) return DeliverToFile(run);
  if (destination != kToView) return DeliverToApplication(run, destination);
  const auto records = reader_.ForEachLine(run, &parts_.settings, parts_.showLine);
  return records ? Counted(*records) + " shown in Quillet's window." : std::string(kUnreadable);
}

std::string Redelivery::DeliverToFile(const StoredRun& run) {
  SerialNumberField serial;
  serial.Assign(reinterpret_cast<const std::uint8_t*>(run.head.serial.data()),
                run.head.serial.size());
  std::string path = parts_.file.OutputPath(parts_.settings.filename.Get(), serial);
  if (parts_.file.IsSettingsFile(path)) return std::string(SettingsEditor::kSettingsFileMessage);
  std::string lines;
  const auto records =
      reader_.ForEachLine(run, &parts_.settings, [&](const std::string& line) { lines += line; });
  if (!records) return std::string(kUnreadable);
  return parts_.file.CreateNumbered(path, lines) == platform::FileStore::Created::kYes
             ? Counted(*records) + " delivered to " + path
             : path + " could not be written. Check the path in the settings.";
}

std::string Redelivery::DeliverToApplication(const StoredRun& run, std::int32_t destination) {
  const bool paste = parts_.settings.bNonEnglish != 0;
  const std::string application =
      destination == kToNamedApplication ? parts_.settings.appname.Get() : "";
  std::int64_t delivered = 0;
  std::int64_t skipped = 0;
  std::string problem;
  otherWindowIsActive_ = false;
  const auto records = reader_.ForEachLine(run, &parts_.settings, [&](const std::string& line) {
    if (!problem.empty()) return;
    if (!application.empty()) parts_.target.Run(application);
    const bool ready = AwaitOtherWindow();
    if (stopped_) {
      problem = "Delivery stopped";
    } else if (parts_.run.IsInProgress()) {
      problem = "A synchronization has started. Delivery stopped";
    } else if (!ready) {
      problem = "No other window received focus within 60 seconds. Delivery stopped";
    } else {
      const auto outcome = parts_.delivery.Deliver(line, paste);
      if (outcome == DeliveryOutcome::kDelivered || outcome == DeliveryOutcome::kNoKeys)
        ++delivered;
      if (outcome == DeliveryOutcome::kRefused) ++skipped;
      problem = StopAfter(outcome);
    }
  });
  if (!records) return std::string(kUnreadable);
  if (!problem.empty()) {
    return problem + " after " + std::to_string(delivered) + " of " + Counted(*records) + ".";
  }
  if (skipped == 0) return Counted(*records) + " delivered.";
  return Counted(delivered) + " delivered; " + std::to_string(skipped) +
         " could not be typed. Turn on \"Paste text instead of typing it\" in the settings.";
}

// Returns the reason to stop the delivery, or an empty string if the next record can be delivered.
std::string Redelivery::StopAfter(DeliveryOutcome outcome) const {
  if (outcome == DeliveryOutcome::kNoTyping) {
    return parts_.delivery.TypingMessage() + " Delivery stopped";
  }
  return outcome == DeliveryOutcome::kNoClipboard
             ? "The clipboard is not available. Delivery stopped"
             : "";
}

// Waits until another application's window has focus. Returns false after a time-out or if the
// delivery must stop.
bool Redelivery::AwaitOtherWindow() {
  if (!IsActive() && otherWindowIsActive_) return true;
  otherWindowIsActive_ = false;
  const auto start = parts_.platform.clock.Now();
  auto inactiveSince = start;
  bool told = false;
  while (!stopped_ && !parts_.run.IsInProgress()) {
    const auto now = parts_.platform.clock.Now();
    if (IsActive()) {
      inactiveSince = parts_.platform.clock.Now();
      if (now - start > kLongestWait) return false;
      if (!std::exchange(told, true)) {
        Report("Waiting to deliver. Click the target window.");
      }
    } else if (now - inactiveSince >= kSettlingTime) {
      if (told) Report("Delivering records…");
      return otherWindowIsActive_ = true;
    }
    parts_.platform.clock.Sleep(kWindowPoll);
  }
  return false;
}

// Asks the main thread whether a Quillet window has focus, and returns the answer. Returns true
// if the main thread does not answer in time.
bool Redelivery::IsActive() {
  answered_ = false;
  parts_.platform.mainQueue.Async([this] {
    isActive_ = parts_.platform.workspace.IsActive();
    answered_ = true;
  });
  for (int poll = 0; poll < kAnswerPolls && !answered_; ++poll) {
    parts_.platform.clock.Sleep(kAnswerPoll);
  }
  return !answered_ || isActive_;
}

void Redelivery::Report(const std::string& text) {
  parts_.strip.Raise(Notice::kDelivery, text);
  parts_.platform.mainQueue.Async(
      [this, text = ShownText(text)] { parts_.window.ShowMessage(text); });
}

}  // namespace quillet
