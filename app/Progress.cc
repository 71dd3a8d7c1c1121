#include "app/SyncController.h"
#include "device/ReceiveState.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr auto kProgressPeriod = 150ms;

}  // namespace

// Only the main thread shows progress; the threads of the run leave their numbers behind in atomic
// words and never wait for it.
void SyncController::StartProgress() {
  runShown_ = true;
  OnMainThread([this] {
    runProgress_ = RunProgress();
    platform_.ticker.Start(kProgressPeriod, [this] { ShowProgress(); });
  });
}

void SyncController::ShowProgress() {
  if (!runShown_) {
    platform_.ticker.Stop();
    progress.Hide();
    return;
  }
  // A run whose records are asked for one by one goes on over a new connection.
  if (!bIsConnected) return progress.Hide();
  const RunProgress::Shown shown = runProgress_.Look(
      std::chrono::duration_cast<RunProgress::Time>(platform_.clock.Now()), PresentRunState());
  progress.Show(shown.text, shown.fraction);
}

RunState SyncController::PresentRunState() const {
  RunState run;
  run.records = barcodeCount;
  const std::int32_t command = lumet->commandType;
  const std::int32_t expected = lumet->SyncEndIndex;
  if (command == 'p') {
    run.phase = RunState::Phase::kRecords;
    run.expected = expected;
  } else if (command == 'P' && expected > 0) {
    run.phase = RunState::Phase::kBurst;
    run.expected = expected;
    // Within the body the length has been announced. Once it has all come and is being taken
    // apart the state is still this one; so it is for good when no record can follow the length.
    if (lumet->state == kBurstBody && lumet->totallength > kLengthBytes) {
      run.announced = lumet->totallength;
      run.bytes = lumet->writePtr;
      if (run.bytes >= run.announced) run.phase = RunState::Phase::kDelivering;
    }
  } else if (command == 'W' && lumet->bCommandDone && !lumet->cmdArray.Head()) {
    // Behind a wake-up that is answered there is always another command.
    run.phase = RunState::Phase::kGivenUp;
  } else if (run.records > 0) {
    run.phase = RunState::Phase::kClosing;
  }
  return run;
}

}  // namespace quillet
