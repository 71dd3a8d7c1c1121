#pragma once

#include <QPlainTextEdit>

namespace quillet::platform::qt {

/// The widget that shows messages and records: read-only, to be selected by mouse and keyboard,
/// in the desktop's fixed-width face. What is copied or dragged out of it is the plain text as it
/// was put in (see RecordText.h).
class RecordView final : public QPlainTextEdit {
 public:
  explicit RecordView(QWidget* parent = nullptr);

  /// Inserts document text behind the last character. What the user has selected stays so; a
  /// cursor at the end that selects nothing stays at the end.
  void InsertAtEnd(const QString& text);

  /// Scrolls down until the last line is visible.
  void ScrollToEnd();

 protected:
  QMimeData* createMimeDataFromSelection() const override;
  bool event(QEvent* event) override;

 private:
  void ChooseFace();
};

}  // namespace quillet::platform::qt
