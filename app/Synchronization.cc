#include "app/LineEnds.h"
#include "app/SyncController.h"
#include "base/Log.h"

namespace quillet {
namespace {

constexpr std::chrono::milliseconds kProgressPeriod{150};

Notice NoticeOf(RunArchive::Problem problem) {
  return problem == RunArchive::Problem::kNotWritten ? Notice::kArchiveNotWritten
                                                     : Notice::kNotErased;
}

std::string ProblemMessage(RunArchive::Problem problem, const std::string& folder) {
  switch (problem) {
    case RunArchive::Problem::kNotWritten:
      return "Records cannot be saved in the archive. Check the disk: " + folder;
    case RunArchive::Problem::kEraseWithheld:
      return "The scanner was not erased, because its records were not saved. Check the disk.";
    case RunArchive::Problem::kCutOff:
      break;
  }
  return "The scanner was not erased, because some records are incomplete. Synchronize again.";
}

std::string RefusedFileMessage(const RunArchive& archive) {
  return std::string(SettingsEditor::kSettingsFileMessage) +
         (archive.failed() ? " The records of this synchronization were not saved."
                           : " The records are in the archive: " + archive.folder());
}

}  // namespace

void SyncController::synchronizeButton() {
  if (bConnecting || bIsUnderSynchronization) return;
  if (bIsConnected) {
    bIsUnderSynchronization = true;
    DoSynchronization();
  } else {
    DisplayText("Tavo is not connected. Please try after connecting Tavo.", true);
  }
}

void SyncController::DoSynchronization() {
  Log(platform_.log, "-[SyncController DoSynchronization]");
  DisplayText("\r\nSynchronization has started...", true);
  archive_->Begin();
  run_.Begin(lumet->destination);
  StartProgress();
  if (lumet->destination == kToNamedApplication) RunApplication();
  lumet->Synchronize();
}

void SyncController::DisplayBarcode(const std::string& record) {
  Log(platform_.log, "-[SyncController DisplayBarcode:]");
  const std::int64_t line = archive_->KeepLine(record);
  const std::int32_t target = lumet->destination;
  run_.Add(record, target, line);
  if (target == kToFile) return;
  if (target == kToView) return DisplayRecord(record);
  if (target == kToNamedApplication) {
    Log(platform_.log, "-[SyncController DisplayBarcode:]", "[", ForeignText(lumet->appname.Get()),
        "]");
    RunApplication();
  }
  delivery_.Deliver(record, lumet->bNonEnglish != 0);
}

void SyncController::SynchronizeFinished() {
  Log(platform_.log, "-[SyncController SynchronizeFinished]");
  // In burst mode, missing records cannot be detected: the scanner's count includes erased records.
  const bool complete = lumet->bBurstSync || barcodeCount >= lumet->SyncEndIndex();
  const bool hadRecords = run_.End(*lumet, lumet->returnSerialNumber(), *lumetfile);
  if (run_.recordsInFile > 0) archive_->OutputFileWritten(syncfileName.Get(), run_.linesOnDisk);
  archive_->End(complete);
  if (run_.refusedSettingsFile) Raise(Notice::kSettingsFileAsFile, RefusedFileMessage(*archive_));
  earlierRuns_->RunEnded();
  if (hadRecords && lumet->bClearMemory) {
    DisplayText("Erased Tavo memory...", true);
    lumet->EraseTavoMemory();
  }
  DisplayText("Synchronization finished. Tavo can be plugged off now", true);
}

// The main thread polls the run's counts, which other threads store in atomic words.
void SyncController::StartProgress() {
  for (const Notice notice : {Notice::kNotErased, Notice::kFileNotWritten,
                              Notice::kSettingsFileAsFile, Notice::kArchiveNotWritten,
                              Notice::kRecordsMissing, Notice::kDelivery, Notice::kRunFinished}) {
    Withdraw(notice);
  }
  OnMainThread([this] {
    runProgress_ = RunProgress();
    platform_.ticker.Start(kProgressPeriod, [this] { ShowProgress(); });
  });
}

void SyncController::ShowProgress() {
  if (!run_.IsShown()) {
    platform_.ticker.Stop();
    strip_.EndProgress();
    return;
  }
  // The ticker keeps running: a run in single-record mode continues after a reconnection.
  if (!bIsConnected) return strip_.EndProgress();
  const DisplayState state = lumet->display();
  const RunProgress::Shown shown =
      runProgress_.Look(std::chrono::duration_cast<RunProgress::Time>(platform_.clock.Now()),
                        {.phase = state.phase(),
                         .records = barcodeCount,
                         .expected = lumet->SyncEndIndex(),
                         .bytes = state.bytes(),
                         .announced = state.announced()});
  strip_.ShowProgress(shown);
}

void SyncController::OpenArchive() {
  archive_ = new RunArchive(platform_.clock, platform_.files, *lumet, *lumet, folders_.archive);
  archive_->OnProblem([this](RunArchive::Problem problem) {
    Raise(NoticeOf(problem), ProblemMessage(problem, folders_.archive));
  });
  lumet->setArchive(archive_);
  earlierRuns_ =
      new EarlierRuns({.platform = platform_,
                       .window = runsWindow_,
                       .archive = *archive_,
                       .file = *lumetfile,
                       .settings = *lumet,
                       .delivery = delivery_,
                       .strip = strip_,
                       .isBusy = [this] { return run_.IsShown() || bIsUnderSynchronization; },
                       .showLine = [this](std::string_view line) { DisplayRecord(line); }});
}

// Reports the runs and removes the temporary files of an earlier process that did not end them.
void SyncController::ReportInterruption() {
  const std::vector<std::string> interrupted = archive_->TakeInterruptedRuns();
  for (const std::string& name : interrupted) {
    Log(platform_.log, "Quillet: synchronization interrupted: ", ForeignText(name));
  }
  const std::size_t removed = lumetfile->RemoveUnfinished(lumet->filename.Get()) +
                              platform_.files.RemoveUnfinished(folders_.archive);
  const std::string files = removed == 0 ? ""
                            : removed == 1
                                ? "1 unfinished file was removed."
                                : std::to_string(removed) + " unfinished files were removed.";
  if (!interrupted.empty()) {
    Raise(Notice::kInterrupted,
          "A synchronization was interrupted. Its records are in the archive: " + folders_.archive +
              (files.empty() ? "" : ". " + files));
  } else if (!files.empty()) {
    Raise(Notice::kInterrupted, files + " Synchronize again if records are missing.");
  }
}

void SyncController::connectionDidReceiveResponse() {
  Log(platform_.log, "-[SyncController connection:didReceiveResponse:]");
}

void SyncController::connectionDidReceiveData(std::string_view data) {
  Log(platform_.log, "-[SyncController connection:didReceiveData:]", ":", ForeignText(data));
}

void SyncController::connectionDidFailWithError() {
  Log(platform_.log, "-[SyncController connection:didFailWithError:]");
}

void SyncController::DisplayText(std::string_view text, bool newline) {
  std::string line(text);
  if (newline) line.push_back('\r');
  mainView_.Append(FoldLineEnds(line), TextKind::kMessage);
}

void SyncController::DisplayRecord(std::string_view record) {
  mainView_.Append(FoldLineEnds(record), TextKind::kRecord);
}

void SyncController::clearviewButton() {
  if (bConnecting || bIsUnderSynchronization) return;
  mainView_.Clear();
  Withdraw(Notice::kLinesDropped);
}

}  // namespace quillet
