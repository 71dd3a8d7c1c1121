#pragma once

#include <QScrollArea>

class QBoxLayout;

namespace quillet::platform::qt {

/// Columns side by side where there is room for them, else one above the other, and scrolling where
/// even that does not fit. Whatever the keyboard goes to comes into sight.
class ScrollingColumns final : public QScrollArea {
 public:
  ScrollingColumns();

  void AddColumn(QWidget* column);

  /// All columns side by side, whole.
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  QSize SideBySide() const;

  QBoxLayout* const columns_;
};

}  // namespace quillet::platform::qt
