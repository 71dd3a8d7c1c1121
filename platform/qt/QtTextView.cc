#include "platform/qt/QtTextView.h"

#include <QTextCursor>
#include <chrono>

#include "base/Utf8.h"
#include "platform/qt/RecordText.h"
#include "platform/qt/RecordView.h"

namespace quillet::platform::qt {
namespace {

using std::chrono::steady_clock;

constexpr auto kSlice = std::chrono::milliseconds(4);  // time limit per turn of the main loop
constexpr std::size_t kPiece = 8192;                   // bytes inserted between two time checks

// Inserted bytes are removed from pending_ in pieces of at least this size.
constexpr std::size_t kKept = std::size_t{256} * 1024;

}  // namespace

QtTextView::QtTextView(RecordView& view) : view_(view) {
  sliceTimer_.setInterval(0);
  QObject::connect(&sliceTimer_, &QTimer::timeout, [this] { RunSlice(); });
}

void QtTextView::Append(std::string_view text) {
  if (text.empty()) return;
  pending_ += text;
  Schedule();
}

void QtTextView::ScrollToEnd() {
  scrollWanted_ = true;
  Schedule();
}

void QtTextView::SetText(std::string_view text) {
  pending_.clear();
  inserted_ = 0;
  scrollWanted_ = false;
  view_.clear();
  Append(text);
}

std::string QtTextView::ShownText() const {
  QTextCursor all(view_.document());
  all.select(QTextCursor::Document);
  return SelectedRecordText(all).toStdString();
}

void QtTextView::Schedule() {
  if (!sliceTimer_.isActive()) sliceTimer_.start();
}

void QtTextView::RunSlice() {
  const auto deadline = steady_clock::now() + kSlice;
  while (HasPending() && steady_clock::now() < deadline) InsertPiece();
  if (scrollWanted_) view_.ScrollToEnd();
  if (HasPending()) return;
  sliceTimer_.stop();
  scrollWanted_ = false;
  pending_.clear();
  inserted_ = 0;
}

void QtTextView::InsertPiece() {
  const std::string_view rest = std::string_view(pending_).substr(inserted_);
  const std::string_view piece = Utf8Prefix(rest, kPiece);
  view_.InsertAtEnd(ToDocumentText(piece));
  inserted_ += piece.size();
  if (inserted_ >= kKept) {
    pending_.erase(0, inserted_);
    inserted_ = 0;
  }
}

}  // namespace quillet::platform::qt
