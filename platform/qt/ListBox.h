#pragma once

#include <QComboBox>
#include <QWheelEvent>

namespace quillet::platform::qt {

/// A list to choose from that the mouse wheel changes only while the keyboard is in it: whoever
/// scrolls a window does not want to change what the pointer happens to pass over.
class ListBox final : public QComboBox {
 public:
  ListBox() { setFocusPolicy(Qt::StrongFocus); }

 protected:
  void wheelEvent(QWheelEvent* event) override {
    if (hasFocus()) return QComboBox::wheelEvent(event);
    event->ignore();
  }
};

}  // namespace quillet::platform::qt
