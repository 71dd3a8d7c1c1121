#include "app/LineEnds.h"
#include "app/QuilletAppDelegate.h"
#include "app/Redelivery.h"
#include "app/SyncController.h"
#include "base/Log.h"

namespace quillet {
namespace {

constexpr const char* kNotConnected =
    "No scanner is connected. Plug in the scanner, or select its port and press Connect.";

}  // namespace

// If the button currently has no effect, shows the reason in the status strip and returns true.
bool SyncController::IgnoresPress(const std::string& button) {
  if (bIsUnderSynchronization) {
    messages_->PressIgnored("A synchronization is in progress. Press " + button +
                            " when it has finished.");
  } else if (bConnecting) {
    messages_->PressIgnored(
        numPorts == 0
            ? "Quillet is waiting for the scanner. Plug it in, or wait 20 seconds and press " +
                  button + " again."
            : "Quillet is connecting. Wait a few seconds, then press " + button + " again.");
  }
  return bConnecting || bIsUnderSynchronization;
}

void SyncController::ShowConnectionState() {
  OnMainThread([this] {
    if (bIsConnected || bConnecting) return strip_.Withdraw(Notice::kNoScanner);
    strip_.Raise(Notice::kNoScanner, kNotConnected);
  });
}

void SyncController::synchronizeButton() {
  if (IgnoresPress("Synchronize")) return;
  if (bIsConnected) {
    messages_->RunRequested();
    bIsUnderSynchronization = true;
    DoSynchronization();
  } else {
    DisplayText("Tavo is not connected. Please try after connecting Tavo.", true);
    messages_->PressIgnored(kNotConnected);
  }
}

void SyncController::DoSynchronization() {
  Log(platform_.log, "-[SyncController DoSynchronization]");
  DisplayText("\r\nSynchronization has started...", true);
  archive_->Begin();
  run_.Begin(lumet->destination);
  messages_->RunBegan();
  mainView_.ReportNextRemoval();
  delivery_.RunBegan();
  if (lumet->destination == kToNamedApplication) RunApplication();
  lumet->Synchronize();
}

// Starts this connection's automatic run, unless a run has begun since the scanner connected. Main
// thread or read thread.
void SyncController::RunAutomatically() {
  if (lumet->bAutoSync && bIsConnected && run_.automaticRunIsDue.exchange(false)) {
    DoSynchronization();
  }
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
  const auto outcome = delivery_.Deliver(record, lumet->bNonEnglish != 0);
  if (outcome == DeliveryOutcome::kDelivered) messages_->RecordDelivered(target);
}

void SyncController::SynchronizeFinished() {
  Log(platform_.log, "-[SyncController SynchronizeFinished]");
  // Records missing from a burst cannot be detected: the scanner's count includes erased records.
  const DownloadCounts& counts = lumet->counts();
  const bool complete = counts.Missing() <= 0 && !counts.burstCutOff();
  const Run::Result result = run_.End(*lumet, lumet->returnSerialNumber(), *lumetfile);
  delivery_.EndOfRun();
  if (result.recordsInFile > 0) archive_->OutputFileWritten(result.file, result.linesOnDisk);
  archive_->End(complete);
  messages_->RunEnded(result);
  earlierRuns_->RunEnded();
  if (result.records != 0 && lumet->bClearMemory) {
    DisplayText("Erased Tavo memory...", true);
    lumet->EraseTavoMemory();
  }
  DisplayText("Synchronization finished. Tavo can be plugged off now", true);
}

ApplicationDelivery::Actions SyncController::DeliveryActions() {
  return {.showRuns = [this] { earlierRuns_->Open(); },
          .isArchived = [this] { return !archive_->failed(); },
          .isReceiving = [this] { return bIsConnected && run_.IsInProgress(); },
          .guide = paths_.guide};
}

void SyncController::OpenArchive() {
  archive_ = new RunArchive(platform_.clock, platform_.files, *lumet, *lumet, paths_.archive);
  archive_->OnProblem([this](RunArchive::Problem problem) { messages_->Problem(problem); });
  archive_->OnErased([this] { messages_->ScannerErased(); });
  lumet->setArchive(archive_);
  auto* const redelivery =
      new Redelivery({.platform = platform_,
                      .window = runsWindow_,
                      .archive = *archive_,
                      .run = run_,
                      .file = *lumetfile,
                      .settings = *lumet,
                      .delivery = delivery_,
                      .target = target_,
                      .strip = strip_,
                      .showLine = [this](std::string_view line) { DisplayRecord(line); }});
  earlierRuns_ = new EarlierRuns({.platform = platform_,
                                  .window = runsWindow_,
                                  .archive = *archive_,
                                  .file = *lumetfile,
                                  .redelivery = *redelivery});
  messages_ = new RunMessages({.platform = platform_,
                               .session = *lumet,
                               .run = run_,
                               .delivery = delivery_,
                               .isConnected = bIsConnected,
                               .archive = *archive_,
                               .earlierRuns = *earlierRuns_,
                               .strip = strip_,
                               .openSettings = [this] { settingsButton(); },
                               .restart = [this] { delegate_->Restart(); }});
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
  if (IgnoresPress("Clear")) return;
  mainView_.Clear();
  strip_.Withdraw(Notice::kLinesDropped);
}

}  // namespace quillet
