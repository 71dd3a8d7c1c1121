#pragma once

#include <QTimer>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "base/TextBacklog.h"
#include "platform/Controls.h"

namespace quillet::platform::qt {

class RecordView;

/// A TextView that uses a RecordView. Main thread only.
///
/// Appended text is collected and inserted in slices of 4 ms, one slice per turn of the main loop,
/// so that the window stays responsive. Inserting does not change the user's selection.
class QtTextView final : public TextView {
 public:
  /// @param view  an empty view; it must outlive this object
  explicit QtTextView(RecordView& view);

  void Append(std::string_view text) override { Add(text, TextKind::kMessage); }
  void AppendRecords(std::string_view text) override { Add(text, TextKind::kRecord); }
  void OnRecordsRemoved(std::function<void()> action) override { removed_ = std::move(action); }
  void ScrollToEnd() override;

  /// Clears the view immediately, drops text that has not been inserted yet, and appends `text`.
  void SetText(std::string_view text) override;

  /// Returns true if some appended text has not been inserted yet.
  bool HasPending() const { return inserted_ < chunk_.text.size() || !pending_.IsEmpty(); }

  /// Returns the inserted text, as UTF-8. It equals the appended text, except for the changes
  /// described in RecordText.h.
  std::string ShownText() const;

 private:
  void Add(std::string_view text, TextKind kind);
  void Schedule();
  void RunSlice();
  void InsertPiece();

  RecordView& view_;
  TextBacklog::Chunk chunk_;  // the chunk that is being inserted
  std::size_t inserted_ = 0;  // number of leading bytes of chunk_ that are in the view
  TextBacklog pending_;       // text to insert after chunk_
  std::function<void()> removed_;
  bool scrollWanted_ = false;
  QTimer sliceTimer_;
};

}  // namespace quillet::platform::qt
