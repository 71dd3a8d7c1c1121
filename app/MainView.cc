#include "app/LineEnds.h"
#include "app/SyncController.h"

namespace quillet {

void SyncController::DisplayText(std::string_view text, bool newline) {
  std::string line(text);
  if (newline) line.push_back('\r');
  OnMainThread([this, shown = FoldLineEnds(line)] {
    barcodeView.Append(shown);
    barcodeView.ScrollToEnd();
  });
}

void SyncController::clearviewButton() {
  if (bConnecting || bIsUnderSynchronization) return;
  // Not queued: a text that waits to be shown was not there to be cleared, and may be a record.
  barcodeView.SetText("");
}

}  // namespace quillet
