#include "app/SyncController.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr auto kProgressPeriod = 150ms;

}  // namespace

// Only the main thread shows progress; the threads of the run leave their numbers behind in atomic
// words and never wait for it.
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
  // A run whose records are asked for one by one goes on over a new connection.
  if (!bIsConnected) return controls_.progress.Hide();
  const RunProgress::Shown shown = runProgress_.Look(
      std::chrono::duration_cast<RunProgress::Time>(platform_.clock.Now()), PresentRunState());
  controls_.progress.Show(shown.text, shown.fraction);
}

RunState SyncController::PresentRunState() const {
  const DisplayState shown = lumet->display();
  return {.phase = shown.phase(),
          .records = barcodeCount,
          .expected = lumet->SyncEndIndex(),
          .bytes = shown.bytes(),
          .announced = shown.announced()};
}

}  // namespace quillet
