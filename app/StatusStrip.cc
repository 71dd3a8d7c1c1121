#include "app/StatusStrip.h"

namespace quillet {

void StatusStrip::ShowProgress(const RunProgress::Shown& shown) {
  inProgress_ = true;
  display_.Show(shown.text, shown.fraction);
}

void StatusStrip::EndProgress() {
  inProgress_ = false;
  ShowLatest();
}

void StatusStrip::ShowMessage(std::string_view message) {
  message_ = message;
  if (!inProgress_) ShowLatest();
}

void StatusStrip::ShowLatest() {
  if (message_.empty()) return display_.Hide();
  display_.ShowMessage(message_);
}

}  // namespace quillet
