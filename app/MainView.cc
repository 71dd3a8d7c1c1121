#include "app/MainView.h"

#include <utility>

namespace quillet {

void MainView::Append(std::string_view text, TextKind kind) {
  const std::scoped_lock lock(mutex_);
  if (!open_) {
    open_ = std::make_shared<TextBacklog>();
    queue_.Async([this, texts = open_] { Show(texts); });
  }
  open_->Add(text, kind);
}

void MainView::Post(std::function<void()> change) {
  const std::scoped_lock lock(mutex_);
  open_.reset();
  queue_.Async(std::move(change));
}

void MainView::OnRecordsRemoved(std::function<void()> action) {
  action_ = std::move(action);
  view_.OnRecordsRemoved([this] { ReportRemoval(); });
}

void MainView::ReportNextRemoval() {
  Post([this] { isRemovalReported_ = false; });
}

void MainView::Clear() {
  view_.SetText("");
  isRemovalReported_ = false;
}

void MainView::Show(const std::shared_ptr<TextBacklog>& texts) {
  {
    const std::scoped_lock lock(mutex_);
    if (open_ == texts) open_.reset();  // later text goes to a new entry
  }
  while (!texts->IsEmpty()) {
    const TextBacklog::Chunk chunk = texts->TakeFirst();
    if (chunk.kind == TextKind::kRecord) {
      view_.AppendRecords(chunk.text);
    } else {
      view_.Append(chunk.text);
    }
  }
  view_.ScrollToEnd();
  if (texts->HasDropped()) ReportRemoval();
}

void MainView::ReportRemoval() {
  if (!std::exchange(isRemovalReported_, true) && action_) action_();
}

}  // namespace quillet
