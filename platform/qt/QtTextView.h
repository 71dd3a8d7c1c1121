#pragma once

#include <QTimer>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Controls.h"

namespace quillet::platform::qt {

class RecordView;

/// The program's TextView on a RecordView. Main thread only.
///
/// Texts are collected and inserted in slices of a few milliseconds, one per turn of the main
/// loop: a hundred thousand appends cost the window no more than a hundred. They are inserted at
/// the end of the document whatever the user has selected, and the selection stays.
class QtTextView final : public TextView {
 public:
  /// @param view  an empty view; it outlives this object
  explicit QtTextView(RecordView& view);

  void Append(std::string_view text) override;
  void ScrollToEnd() override;

  /// What was on screen goes at once, and so does what was still to be inserted.
  void SetText(std::string_view text) override;

  /// Whether something is still to be inserted.
  bool HasPending() const { return inserted_ < pending_.size(); }

  /// The text that has been inserted, as it was appended; the exceptions are in RecordText.h.
  std::string ShownText() const;

 private:
  void Schedule();
  void RunSlice();
  void InsertPiece();

  RecordView& view_;
  std::string pending_;       // appended; UTF-8
  std::size_t inserted_ = 0;  // bytes at the beginning of pending_ that are in the view
  bool scrollWanted_ = false;
  QTimer sliceTimer_;
};

}  // namespace quillet::platform::qt
