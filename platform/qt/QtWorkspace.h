#pragma once

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include "platform/Workspace.h"

namespace quillet::platform::qt {

/// A Workspace that activates one window through Qt. Main thread only.
class QtWorkspace final : public Workspace {
 public:
  /// @param window  the application's main window; it outlives this object
  explicit QtWorkspace(QWidget& window) : window_(window) {}

  /// If the application is still inactive after 400 ms, the window demands attention. Does nothing
  /// if the window is hidden.
  void ActivateIgnoringOtherApps() override {
    if (!window_.isVisible()) return;
    window_.setWindowState(window_.windowState() & ~Qt::WindowMinimized);
    window_.raise();
    window_.activateWindow();
    QTimer::singleShot(400, &window_, [window = &window_] {
      if (window->isVisible() && !QApplication::activeWindow()) QApplication::alert(window);
    });
  }

 private:
  QWidget& window_;
};

}  // namespace quillet::platform::qt
