#pragma once

#include <QObject>
#include <functional>
#include <string_view>

#include "platform/Controls.h"

class QSize;
class QWidget;

namespace quillet::platform::qt {

/// The largest size of a window that fits on its screen, with the desktop's frame around it.
QSize RoomOnScreen(const QWidget& window);

/// A top-level widget as the program's Window. Main thread only.
class QtWindow final : public QObject, public Window {
 public:
  /// @param widget  a top-level widget that accepts being closed; it outlives this object
  explicit QtWindow(QWidget& widget);

  /// The title stands as given. (Qt adds the application's display name behind it where one has
  /// been set with QGuiApplication::setApplicationDisplayName.)
  void SetTitle(std::string_view title) override;

  /// The action runs while the window is still there, before it disappears.
  void OnClose(std::function<void()> action) override;

  void OrderFront() override;
  void MakeKeyAndOrderFront() override;
  void Close() override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QWidget& widget_;
  std::function<void()> action_;
  bool closed_ = false;
};

}  // namespace quillet::platform::qt
