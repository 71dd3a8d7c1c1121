#include "platform/qt/QtWindow.h"

#include <QEvent>
#include <QScreen>
#include <QWidget>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {

QSize RoomOnScreen(const QWidget& window) {
  return window.screen()->availableSize() - QSize(16, 48);
}

QtWindow::QtWindow(QWidget& widget) : widget_(widget) {
  widget_.installEventFilter(this);
}

void QtWindow::SetTitle(std::string_view title) {
  // In a window title, Qt replaces "[*]" with a mark for unsaved changes. Writing "[*]" twice
  // escapes it.
  const QLatin1String mark("[*]");
  widget_.setWindowTitle(ToQString(title).replace(mark, QLatin1String("[*][*]")));
}

void QtWindow::OrderFront() {
  widget_.setWindowState(widget_.windowState() & ~Qt::WindowMinimized);
  widget_.show();
  widget_.raise();
}

void QtWindow::MakeKeyAndOrderFront() {
  OrderFront();
  widget_.activateWindow();
}

void QtWindow::Close() {
  widget_.hide();
}

bool QtWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == &widget_ && event->type() == QEvent::Close && !std::exchange(closed_, true)) {
    if (action_) action_();
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace quillet::platform::qt
