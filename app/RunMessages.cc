#include "app/RunMessages.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "app/SettingsEditor.h"
#include "base/Log.h"
#include "base/ShownText.h"
#include "device/DisplayState.h"
#include "output/LumetFile.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kProgressPeriod{150};
constexpr auto kReadingTime = 5s;

// Messages about a run's problems. They are removed only when the user starts another run.
constexpr Notice kProblems[] = {Notice::kNotErased, Notice::kFileNotWritten,
                                Notice::kSettingsFileAsFile, Notice::kArchiveNotWritten,
                                Notice::kRecordsMissing};
// Messages that are outdated when a run begins or that would hide its result.
constexpr Notice kHints[] = {
    Notice::kPathRefused,  Notice::kDelivery,          Notice::kScanDelivered,
    Notice::kPathTooLong,  Notice::kArchiveIsOnlyCopy, Notice::kFileReplaced,
    Notice::kLinesDropped, Notice::kDisconnectedInRun, Notice::kRunStuck,
    Notice::kPressIgnored, Notice::kRunFinished};

std::string TimeTaken(std::chrono::milliseconds taken) {
  const auto seconds = std::max<std::int64_t>(taken / 1s, 1);
  return seconds < 100 ? std::to_string(seconds) + " s" : std::to_string(seconds / 60) + " min";
}

// Returns "2 of 3 records", or "3 records" if no record is missing.
std::string PartOf(std::int32_t part, std::int32_t all) {
  return (part < all ? std::to_string(part) + " of " : "") + Counted(all);
}

// Returns the name of an application: the last part of its path without the extension.
std::string ApplicationName(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  return name.substr(0, name.rfind('.'));
}

}  // namespace

void RunMessages::RunRequested() {
  for (const Notice notice : kProblems) parts_.strip.Withdraw(notice);
  parts_.strip.Withdraw(Notice::kInterrupted);
}

void RunMessages::RunBegan() {
  begin_ = parts_.platform.clock.Now() / 1ms;
  fileSaid_ = false;
  for (const Notice notice : kHints) parts_.strip.Withdraw(notice);
  // The first run may begin before the user has read this message, so only later runs remove it.
  if (hasEnded_) parts_.strip.Withdraw(Notice::kInterrupted);
  parts_.platform.mainQueue.Async([this] {
    progress_ = RunProgress();
    stuck_ = false;
    StartTicker();
  });
}

void RunMessages::Connected() {
  parts_.strip.Withdraw(Notice::kPressIgnored);
  // A record-by-record run can continue after a reconnection, but a burst run cannot.
  if (parts_.run.IsShown() && parts_.session.bBurstSync) return;
  parts_.strip.Withdraw(Notice::kDisconnectedInRun);
  if (parts_.run.IsShown()) parts_.platform.mainQueue.Async([this] { StartTicker(); });
}

void RunMessages::Disconnected() {
  if (!parts_.run.IsShown()) return;
  parts_.strip.Withdraw(Notice::kRunStuck);
  stuck_ = false;
  parts_.strip.Raise(Notice::kDisconnectedInRun,
                     "The scanner was disconnected during the synchronization. " + Arrived() +
                         " Restart Quillet to continue.",
                     {Restart()});
}

void RunMessages::HungUp() {
  const std::string lost = "The connection to the scanner was lost. ";
  if (parts_.run.bIsUnderSynchronization) {
    parts_.strip.Raise(Notice::kHungUp, lost + Arrived() + " Restart Quillet to continue.",
                       {Restart()});
  } else {
    parts_.strip.Raise(Notice::kHungUp, lost + "Press Disconnect, then Connect.");
  }
}

void RunMessages::StartTicker() {
  parts_.platform.ticker.Start(kProgressPeriod, [this] { ShowProgress(); });
}

void RunMessages::PressIgnored(const std::string& text) {
  pressed_ = parts_.platform.clock.Now();
  parts_.strip.Raise(Notice::kPressIgnored, text);
  StartTicker();  // removes the message after kReadingTime
}

// Polls the run's counts, which other threads store in atomic words.
void RunMessages::ShowProgress() {
  const auto now = parts_.platform.clock.Now();
  if (pressed_ && now - *pressed_ > kReadingTime) {
    pressed_.reset();
    parts_.strip.Withdraw(Notice::kPressIgnored);
  }
  if (!parts_.run.IsShown() || !parts_.isConnected) {
    if (!pressed_) parts_.platform.ticker.Stop();
    return parts_.strip.EndProgress();
  }
  const DisplayState state = parts_.session.display();
  const RunProgress::Shown shown =
      progress_.Look(std::chrono::duration_cast<RunProgress::Time>(now),
                     {.phase = state.phase(),
                      .records = parts_.run.barcodeCount,
                      .expected = parts_.session.SyncEndIndex(),
                      .bytes = state.bytes(),
                      .announced = state.announced()});
  parts_.strip.ShowProgress(shown);
  const bool stuck = !shown.advice.empty();
  if (std::exchange(stuck_, stuck) == stuck) return;
  if (!stuck_) return parts_.strip.Withdraw(Notice::kRunStuck);
  parts_.strip.Raise(Notice::kRunStuck, shown.text + " " + Arrived() + " " + shown.advice,
                     {Restart()});
}

// Returns a sentence about the records that have arrived.
std::string RunMessages::Arrived() const {
  // All records of a burst are in the archive before the first one is delivered. The number of
  // delivered records is read first, so that a record delivered between the two reads is not
  // counted twice.
  const std::int32_t delivered = parts_.run.barcodeCount;
  const std::int32_t records = delivered + parts_.session.counts().pending();
  return records == 0 ? "No records were received." : Kept(records);
}

void RunMessages::RunEnded(const Run::Result& result) {
  for (const Notice notice :
       {Notice::kDisconnectedInRun, Notice::kRunStuck, Notice::kPressIgnored}) {
    parts_.strip.Withdraw(notice);
  }
  parts_.strip.Withdraw(Notice::kRecordsMissing);
  if (!parts_.archive.failed()) parts_.strip.Withdraw(Notice::kArchiveNotWritten);
  if (result.records > 0 && !parts_.archive.cutOff()) CheckCopies();
  hasEnded_ = true;
  endedName_.Set(parts_.archive.runName());
  const DownloadCounts& counts = parts_.session.counts();
  missing_ = counts.Missing();
  received_ = counts.received();
  burstCutOff_ = counts.burstCutOff();
  expected_ = parts_.session.SyncEndIndex();
  if (parts_.archive.cutOff()) {
    Problem(RunArchive::Problem::kCutOff);
  } else {
    // If a burst was cut off and delivered no records, no erase command is sent.
    const bool erases = parts_.session.bClearMemory && (result.records > 0 || !burstCutOff_);
    ShowMissing(erases ? "Erasing the scanner…" : "The scanner was not erased. Synchronize again.");
  }
  const std::string kept = Kept(result.records) + Again();
  if (result.refusedSettingsFile) {
    parts_.strip.Raise(Notice::kSettingsFileAsFile,
                       std::string(SettingsEditor::kSettingsFileMessage) + " " + kept,
                       SaveActions());
  } else if (result.fileError != 0) {
    const std::string file =
        result.file.empty() ? "No file was written" : ShownText(result.file) + " was not written";
    parts_.strip.Raise(Notice::kFileNotWritten,
                       file + ": " + std::string(ReasonText(result.fileError)) + ". " + kept,
                       SaveActions());
  } else {
    ShowFinished(result);
  }
  if (!result.file.empty()) fileSaid_ = true;
}

// Returns a sentence that advises synchronizing again, or "" if the records were saved.
std::string RunMessages::Again() const {
  return parts_.archive.failed() ? " Synchronize again." : "";
}

// Returns a sentence that says where the records are if no file contains them.
std::string RunMessages::Kept(std::int32_t records) const {
  if (parts_.archive.failed()) return "The records were not saved.";
  return Counted(records) + (records == 1 ? " is" : " are") + " in the archive.";
}

void RunMessages::ShowFinished(const Run::Result& result) {
  const Settings& settings = parts_.session;
  if (result.records == 0) {
    return parts_.strip.Raise(Notice::kRunFinished, "The scanner sent no records.");
  }
  if (settings.destination == kToFile || !result.file.empty()) return ShowFile(result);
  if (settings.destination == kToView) {
    return parts_.strip.Raise(Notice::kRunFinished,
                              Counted(result.records) + InTime() + ", shown above");
  }
  const std::string receiver = settings.destination == kToNamedApplication
                                   ? ShownText(ApplicationName(settings.appname.Get()))
                                   : "the active application";
  parts_.strip.Raise(Notice::kRunFinished,
                     PartOf(parts_.delivery.Delivered(), result.records) + InTime() +
                         (settings.bNonEnglish ? ", pasted into " : ", typed into ") + receiver);
}

// `result.file` is empty if no record arrived while a file was the destination, or if the first of
// two overlapping runs has written the records of both. In the second case, the message about the
// first run's file stays.
void RunMessages::ShowFile(const Run::Result& result) {
  if (!result.file.empty()) {
    parts_.strip.Withdraw(Notice::kFileNotWritten);
    parts_.strip.Withdraw(Notice::kSettingsFileAsFile);
    return parts_.strip.Raise(
        Notice::kRunFinished,
        PartOf(result.recordsInFile, result.records) + InTime() + ": " + ShownText(result.file),
        FileActions(result.file));
  }
  if (fileSaid_) return;
  parts_.strip.Raise(Notice::kFileNotWritten,
                     "No file was written because the destination was changed to a file after the "
                     "records were received. " +
                         Kept(result.records) + Again(),
                     SaveActions());
}

// Returns the duration of the run as a phrase that begins with " in ".
std::string RunMessages::InTime() const {
  const auto taken = parts_.platform.clock.Now() / 1ms - begin_;
  return " in " + TimeTaken(std::chrono::milliseconds(taken));
}

// Shows a message that ends with `scanner` if records were not received. The number of records
// missing from a burst is unknown.
void RunMessages::ShowMissing(std::string_view scanner) {
  const std::int32_t missing = missing_;
  const std::int32_t received = received_;
  std::string text;
  if (burstCutOff_) {
    text = "The connection was lost during the transfer: " +
           (received == 0 ? "no records" : Counted(received)) + (received == 1 ? " was" : " were") +
           " delivered. ";
  } else if (missing > 0) {
    text = std::to_string(missing) + " of " + Counted(expected_) +
           (missing == 1 ? " was" : " were") + " not received. ";
  } else {
    return;
  }
  parts_.strip.Raise(Notice::kRecordsMissing, text.append(scanner), ShowActions());
}

// Announces the active application at most once, because Quillet does not know which program it is.
void RunMessages::RecordDelivered(std::int32_t destination) {
  const bool isNamed = destination == kToNamedApplication;
  const std::string program = isNamed ? parts_.session.appname.Get() : "";
  if (!receivers_.insert(program).second || parts_.run.IsShown()) return;
  const std::string receiver = isNamed ? ApplicationName(program) : "the active application";
  const auto open = [this] {
    parts_.strip.Withdraw(Notice::kScanDelivered);
    parts_.openSettings();
  };
  parts_.strip.Raise(Notice::kScanDelivered,
                     std::string("A scan was ") +
                         (parts_.session.bNonEnglish ? "pasted" : "typed") + " into " + receiver +
                         ". To show scans only in Quillet, choose another destination.",
                     {{"Open settings", open}});
}

void RunMessages::ScannerErased() {
  parts_.strip.Withdraw(Notice::kNotErased);
  ShowMissing("The scanner was erased.");
}

void RunMessages::Problem(RunArchive::Problem problem) {
  // Does not use barcodeCount, because starting another run resets it.
  const std::int32_t records = parts_.session.counts().received();
  // kArchiveIsOnlyCopy no longer applies: either the scanner keeps the records, or no copy exists.
  parts_.strip.Withdraw(Notice::kArchiveIsOnlyCopy);
  switch (problem) {
    case RunArchive::Problem::kNotWritten:
      return parts_.strip.Raise(Notice::kArchiveNotWritten,
                                "Records cannot be saved in the archive. Check the folder " +
                                    parts_.archive.folder() + ".");
    case RunArchive::Problem::kEraseWithheld:
      ShowMissing("The scanner was not erased. Synchronize again.");
      return parts_.strip.Raise(Notice::kNotErased,
                                "The scanner was not erased because " + Counted(records) +
                                    (!parts_.archive.failed() ? " may not have been saved"
                                     : records == 1           ? " was not saved"
                                                              : " were not saved") +
                                    ". Check the disk.",
                                ShowActions());
    case RunArchive::Problem::kCutOff:
      return parts_.strip.Raise(
          Notice::kRecordsMissing,
          "Only " + Counted(records) +
              " could be read. The scanner was not erased. Turn off "
              "\"Download all records in one transfer\" and synchronize again.",
          ShowActions());
    case RunArchive::Problem::kEraseDropped:
      ShowMissing("The scanner was not erased. Synchronize again.");
      return parts_.strip.Raise(Notice::kNotErased,
                                "The scanner was disconnected before it could be erased. It still "
                                "has the records.",
                                ShowActions());
  }
}

void RunMessages::CheckCopies() {
  const Settings& settings = parts_.session;
  if (!settings.bClearMemory || settings.destination == kToFile || parts_.archive.failed()) return;
  if (onlyCopySaid_.exchange(true)) return;
  const auto show = [this] {
    parts_.strip.Withdraw(Notice::kArchiveIsOnlyCopy);
    parts_.earlierRuns.Open(parts_.archive.runName());
  };
  parts_.strip.Raise(Notice::kArchiveIsOnlyCopy,
                     "With the current settings, the records are saved only in the archive.",
                     {{"Show", show}});
}

void RunMessages::Interrupted(const std::vector<std::string>& runs, std::size_t files) {
  const std::string removed =
      files == 0   ? ""
      : files == 1 ? "1 incomplete temporary file was deleted."
                   : std::to_string(files) + " incomplete temporary files were deleted.";
  for (const std::string& run : runs) {
    Log(parts_.platform.log, "Quillet: synchronization interrupted: ", ForeignText(run));
  }
  if (!runs.empty()) {
    const auto show = [this, run = runs.back()] {
      parts_.strip.Withdraw(Notice::kInterrupted);
      parts_.earlierRuns.Open(run);
    };
    parts_.strip.Raise(Notice::kInterrupted,
                       "A synchronization was interrupted. Check its records in the archive." +
                           (files == 0 ? "" : " " + removed),
                       {{"Show", show}});
  } else if (files > 0) {
    parts_.strip.Raise(Notice::kInterrupted,
                       removed + " If records are missing, synchronize again.");
  }
}

std::vector<StripAction> RunMessages::ShowActions() const {
  // A run has no name until the scanner has reported its records. Until then, the button shows the
  // most recently ended run.
  std::string run = parts_.archive.runName();
  if (run.empty() && parts_.run.IsShown()) run = endedName_.Get();
  if (run.empty()) return {};
  return {{"Show", [this, run] { parts_.earlierRuns.Open(run); }}};
}

std::vector<StripAction> RunMessages::SaveActions() const {
  const std::string run = parts_.archive.runName();
  if (parts_.archive.failed() || run.empty()) return {};
  const auto saved = [this](const std::string& path) {
    parts_.strip.Withdraw(Notice::kFileNotWritten);
    parts_.strip.Withdraw(Notice::kSettingsFileAsFile);
    parts_.strip.Raise(Notice::kRunFinished, "Saved: " + ShownText(path), FileActions(path));
  };
  return {{"Save as…", [this, run, saved] { parts_.earlierRuns.Save(run, saved); }}};
}

std::vector<StripAction> RunMessages::FileActions(const std::string& path) const {
  platform::Workspace& workspace = parts_.platform.workspace;
  return {{"Open file", [&workspace, path] { workspace.OpenFile(path); }},
          {"Show in folder", [&workspace, path] { workspace.ShowInFolder(path); }}};
}

}  // namespace quillet
