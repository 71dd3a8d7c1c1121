#include "app/StatusStrip.h"

#include <utility>

#include "base/Log.h"
#include "base/ShownText.h"

namespace quillet {
namespace {

// Messages that the main view also shows, and responses to user actions, are not logged.
bool IsLogged(Notice notice) {
  return notice != Notice::kPressIgnored && notice != Notice::kConnecting &&
         notice != Notice::kRunFinished && notice != Notice::kNoScanner;
}

}  // namespace

void StatusStrip::ShowProgress(const RunProgress::Shown& shown) {
  Put(Notice::kProgress, {.text = shown.text, .fraction = shown.fraction});
}

void StatusStrip::Raise(Notice notice, std::string text, std::vector<StripAction> actions) {
  if (IsLogged(notice)) Log(log_, "Quillet: ", ForeignText(text));
  mainQueue_.Async(
      [this, notice, message = Message{.text = std::move(text), .actions = std::move(actions)}] {
        Put(notice, message);
      });
}

void StatusStrip::Withdraw(Notice notice) {
  mainQueue_.Async([this, notice] { Remove(notice); });
}

void StatusStrip::Put(Notice notice, Message message) {
  messages_.insert_or_assign(notice, std::move(message));
  if (messages_.begin()->first == notice) ShowHighest();
}

void StatusStrip::Remove(Notice notice) {
  const auto found = messages_.find(notice);
  if (found == messages_.end()) return;
  const bool wasShown = found == messages_.begin();
  messages_.erase(found);
  if (wasShown) ShowHighest();
}

void StatusStrip::ShowHighest() {
  if (messages_.empty()) return display_.Show("", std::nullopt, {});
  const Message& message = messages_.begin()->second;
  display_.Show(ShownText(message.text), message.fraction, message.actions);
}

}  // namespace quillet
