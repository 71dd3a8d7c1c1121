#include "app/Destinations.h"
#include "app/LineEnds.h"
#include "app/SyncController.h"
#include "base/Log.h"

namespace quillet {
namespace {

constexpr std::chrono::milliseconds kProgressPeriod{150};

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
  run_.Begin(lumet->destination);
  StartProgress();
  if (lumet->destination == kToNamedApplication) RunApplication();
  lumet->Synchronize();
}

void SyncController::DisplayBarcode(const std::string& record) {
  Log(platform_.log, "-[SyncController DisplayBarcode:]");
  const std::int32_t target = lumet->destination;
  run_.Add(record, target);
  if (target == kToFile) return;
  if (target == kToView) return DisplayText(record, false);
  if (target == kToNamedApplication) {
    Log(platform_.log, "-[SyncController DisplayBarcode:]", "[", ForeignText(lumet->appname.Get()),
        "]");
    RunApplication();
  }
  delivery_.Deliver(record, lumet->bNonEnglish != 0);
}

void SyncController::SynchronizeFinished() {
  Log(platform_.log, "-[SyncController SynchronizeFinished]");
  if (run_.End(*lumet, lumet->returnSerialNumber(), *lumetfile) && lumet->bClearMemory) {
    DisplayText("Erased Tavo memory...", true);
    lumet->EraseTavoMemory();
  }
  DisplayText("Synchronization finished. Tavo can be plugged off now", true);
}

// The threads of a run store their counts in atomic words; the main thread polls them.
void SyncController::StartProgress() {
  OnMainThread([this] {
    runProgress_ = RunProgress();
    platform_.ticker.Start(kProgressPeriod, [this] { ShowProgress(); });
  });
}

void SyncController::ShowProgress() {
  if (!run_.IsShown()) {
    platform_.ticker.Stop();
    controls_.progress.Hide();
    return;
  }
  // The ticker keeps running: a run in single-record mode continues after a reconnection.
  if (!bIsConnected) return controls_.progress.Hide();
  const DisplayState state = lumet->display();
  const RunProgress::Shown shown =
      runProgress_.Look(std::chrono::duration_cast<RunProgress::Time>(platform_.clock.Now()),
                        {.phase = state.phase(),
                         .records = barcodeCount,
                         .expected = lumet->SyncEndIndex(),
                         .bytes = state.bytes(),
                         .announced = state.announced()});
  controls_.progress.Show(shown.text, shown.fraction);
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
  OnMainThread([this, shown = FoldLineEnds(line)] {
    controls_.barcodeView.Append(shown);
    controls_.barcodeView.ScrollToEnd();
  });
}

void SyncController::clearviewButton() {
  if (bConnecting || bIsUnderSynchronization) return;
  // Not queued: queued texts that are not yet visible may be records and must not be cleared.
  controls_.barcodeView.SetText("");
}

}  // namespace quillet
