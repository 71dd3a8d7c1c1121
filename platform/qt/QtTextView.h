#pragma once

#include <QTimer>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Controls.h"

namespace quillet::platform::qt {

class RecordView;

/// A TextView that uses a RecordView. Main thread only.
///
/// Appended text is collected and inserted in slices of 4 ms, one slice per turn of the main loop,
/// so that the window stays responsive. Inserting does not change the user's selection.
class QtTextView final : public TextView {
 public:
  /// @param view  an empty view; it outlives this object
  explicit QtTextView(RecordView& view);

  void Append(std::string_view text) override;
  void ScrollToEnd() override;

  /// Clears the view at once and drops text that has not been inserted yet.
  void SetText(std::string_view text) override;

  /// Returns true if some appended text has not been inserted yet.
  bool HasPending() const { return inserted_ < pending_.size(); }

  /// The inserted text, as UTF-8. It equals the appended text, except for the changes described in
  /// RecordText.h.
  std::string ShownText() const;

 private:
  void Schedule();
  void RunSlice();
  void InsertPiece();

  RecordView& view_;
  std::string pending_;       // UTF-8
  std::size_t inserted_ = 0;  // number of leading bytes of pending_ that are in the view
  bool scrollWanted_ = false;
  QTimer sliceTimer_;
};

}  // namespace quillet::platform::qt
