#include "platform/qt/ToolbarButton.h"

#include <QKeyEvent>

namespace quillet::platform::qt {

ToolbarButton::ToolbarButton(QAction* action, QWidget* parent) : QToolButton(parent) {
  setDefaultAction(action);
  setAutoRaise(true);
  setFocusPolicy(Qt::TabFocus);
  setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
}

void ToolbarButton::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    return click();
  }
  QToolButton::keyPressEvent(event);
}

}  // namespace quillet::platform::qt
