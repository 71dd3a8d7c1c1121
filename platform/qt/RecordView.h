#pragma once

#include "platform/qt/ReadOnlyText.h"

namespace quillet::platform::qt {

/// The widget of the main view. Copy and drag provide the original plain text (see RecordText.h).
class RecordView final : public ReadOnlyText {
 public:
  explicit RecordView(QWidget* parent = nullptr);

  /// Inserts text from ToDocumentText at the end. Keeps the user's selection. A cursor at the end
  /// stays at the end if nothing is selected.
  void InsertAtEnd(const QString& text);

  /// Scrolls down until the last line is visible.
  void ScrollToEnd();

 protected:
  QMimeData* createMimeDataFromSelection() const override;
};

}  // namespace quillet::platform::qt
