#pragma once

#include <QLabel>

namespace quillet::platform::qt {

/// A label with one line of plain text. If there is not enough room, it cuts off the end of the
/// text, and a tooltip shows the whole text. The text does not increase the window's minimum width.
/// Main thread only.
class CutLabel final : public QLabel {
 public:
  CutLabel();

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QString CutText() const;
};

}  // namespace quillet::platform::qt
