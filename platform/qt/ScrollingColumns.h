#pragma once

#include <QScrollArea>

class QBoxLayout;
class QVBoxLayout;

namespace quillet::platform::qt {

/// Shows columns side by side, or one above the other in a narrow window. Scrolls if the height is
/// too small. A control that gets focus is scrolled into view.
class ScrollingColumns final : public QScrollArea {
 public:
  ScrollingColumns();

  void AddColumn(QWidget* column);
  void AddBelow(QWidget* row);  ///< moves a widget from its layout to a row below all columns

  /// Returns the size at which the columns are side by side and nothing needs to scroll.
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  QSize SideBySide() const;

  QBoxLayout* const columns_;
  QVBoxLayout* rows_ = nullptr;  // columns_, then the widgets below them
};

}  // namespace quillet::platform::qt
