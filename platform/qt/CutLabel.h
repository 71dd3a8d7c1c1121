#pragma once

#include <QLabel>

namespace quillet::platform::qt {

/// A label with one line of plain text. If the text does not fit, its end is cut off and a tooltip
/// shows the whole text. The text does not increase the window's minimum width. Main thread only.
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
