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
  OnMainThread([this] { barcodeView.SetText(""); });
}

}  // namespace quillet
