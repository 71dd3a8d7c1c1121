#include "platform/qt/QtWorkspace.h"

#include <QApplication>
#include <QTimer>
#include <QWidget>

namespace quillet::platform::qt {
namespace {

// How long a desktop gets to give the window the focus before it is asked for attention instead,
// in milliseconds.
constexpr int kPatience = 400;

}  // namespace

void QtWorkspace::ActivateIgnoringOtherApps() {
  if (!window_.isVisible()) return;  // before the window is shown, or after it was closed
  window_.setWindowState(window_.windowState() & ~Qt::WindowMinimized);
  window_.raise();
  window_.activateWindow();
  QTimer::singleShot(kPatience, &window_, [window = &window_] {
    if (window->isVisible() && !QApplication::activeWindow()) QApplication::alert(window);
  });
}

}  // namespace quillet::platform::qt
