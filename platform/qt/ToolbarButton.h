#pragma once

#include <QKeyEvent>
#include <QToolButton>

namespace quillet::platform::qt {

/// A toolbar button that the user can focus with Tab and press with Space, Return or Enter.
class ToolbarButton final : public QToolButton {
 public:
  /// @param action  provides label, icon and shortcuts; it outlives the button
  explicit ToolbarButton(QAction* action) {
    setDefaultAction(action);
    setAutoRaise(true);
    setFocusPolicy(Qt::TabFocus);
    setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
  }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) return click();
    QToolButton::keyPressEvent(event);
  }
};

}  // namespace quillet::platform::qt
