#pragma once

#include <QComboBox>
#include <QPaintEvent>
#include <QWheelEvent>

namespace quillet::platform::qt {

/// A combo box that ignores the mouse wheel unless it has focus, so that scrolling a window does
/// not change a selection.
///
/// The detail of an item is shown next to its title, in a fainter colour. In a narrow box, the
/// detail of the selected item is shortened. Assistive technology reads the detail as the
/// description.
///
/// An accessible name must be set before the first item is added. Assistive technology then finds
/// the box by this name, with the selected item as its value. Without this class, Qt on Unix
/// reports the selected item as the name (qtbase, QAccessibleComboBox::text). Main thread only.
class ListBox final : public QComboBox {
 public:
  /// Role of an item's detail, which is a QString. The accessible interface of the items uses this
  /// role.
  static constexpr int kDetailRole = Qt::AccessibleDescriptionRole;

  ListBox();

  /// Returns the size at which the details are completely visible.
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void wheelEvent(QWheelEvent* event) override {
    if (hasFocus()) return QComboBox::wheelEvent(event);
    event->ignore();
  }
};

}  // namespace quillet::platform::qt
