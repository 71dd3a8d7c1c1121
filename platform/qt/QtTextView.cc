#include "platform/qt/QtTextView.h"

#include <QTextCursor>
#include <chrono>

#include "base/Utf8.h"
#include "platform/qt/RecordText.h"
#include "platform/qt/RecordView.h"

namespace quillet::platform::qt {
namespace {

using std::chrono::steady_clock;

constexpr auto kSlice = std::chrono::milliseconds(4);  // time limit per main loop iteration
constexpr std::size_t kPiece = 20'000;                 // bytes inserted between checks of the time

}  // namespace

QtTextView::QtTextView(RecordView& view) : view_(view) {
  sliceTimer_.setInterval(0);
  QObject::connect(&sliceTimer_, &QTimer::timeout, [this] { RunSlice(); });
}

void QtTextView::Add(std::string_view text, TextKind kind) {
  pending_.Add(text, kind);
  if (HasPending()) Schedule();
}

void QtTextView::ScrollToEnd() {
  scrollWanted_ = true;
  Schedule();
}

void QtTextView::SetText(std::string_view text) {
  chunk_ = {};
  inserted_ = 0;
  pending_.Clear();
  scrollWanted_ = false;
  view_.Clear();
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
  const bool areRemoved = view_.RemoveOldRecords() || pending_.HasDropped();
  if (scrollWanted_) view_.ScrollToEnd();
  if (!HasPending()) {
    sliceTimer_.stop();
    scrollWanted_ = false;
  }
  if (areRemoved && removed_) removed_();
}

void QtTextView::InsertPiece() {
  if (inserted_ >= chunk_.text.size()) {
    chunk_ = pending_.TakeFirst();
    inserted_ = 0;
  }
  const std::string_view rest = std::string_view(chunk_.text).substr(inserted_);
  const std::string_view piece = Utf8Prefix(rest, kPiece);
  view_.InsertAtEnd(ToDocumentText(piece), chunk_.kind);
  inserted_ += piece.size();
}

}  // namespace quillet::platform::qt
