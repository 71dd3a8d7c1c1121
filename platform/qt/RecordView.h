#pragma once

#include "platform/qt/ReadOnlyText.h"

namespace quillet::platform::qt {

/// The widget that shows messages and records. What is copied or dragged out of it is the plain
/// text as it was put in (see RecordText.h).
class RecordView final : public ReadOnlyText {
 public:
  explicit RecordView(QWidget* parent = nullptr);

  /// Inserts document text behind the last character. What the user has selected stays so; a
  /// cursor at the end that selects nothing stays at the end.
  void InsertAtEnd(const QString& text);

  /// Scrolls down until the last line is visible.
  void ScrollToEnd();

 protected:
  QMimeData* createMimeDataFromSelection() const override;
};

}  // namespace quillet::platform::qt
