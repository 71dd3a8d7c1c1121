#pragma once

#include <QComboBox>
#include <QWheelEvent>

namespace quillet::platform::qt {

/// A combo box that ignores the mouse wheel unless it has focus, so that scrolling a window does
/// not change a selection.
///
/// An accessible name must be set before the first item is added. Assistive technology then finds
/// the box by this name, with the selected item as its value. Without this class, Qt on Unix
/// reports the selected item as the name (qtbase, QAccessibleComboBox::text). Main thread only.
class ListBox final : public QComboBox {
 public:
  ListBox();

 protected:
  void wheelEvent(QWheelEvent* event) override {
    if (hasFocus()) return QComboBox::wheelEvent(event);
    event->ignore();
  }
};

}  // namespace quillet::platform::qt
