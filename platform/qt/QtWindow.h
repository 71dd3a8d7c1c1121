#pragma once

#include <QObject>
#include <functional>
#include <string_view>
#include <utility>

#include "platform/Controls.h"

class QSize;
class QWidget;

namespace quillet::platform::qt {

/// Returns the largest size at which a window and its frame fit on the screen.
QSize RoomOnScreen(const QWidget& window);

/// A Window that uses a top-level widget. Main thread only.
class QtWindow final : public QObject, public Window {
 public:
  /// @param widget  a top-level widget that accepts close events; it must outlive this object
  explicit QtWindow(QWidget& widget);

  void SetTitle(std::string_view title) override;

  /// The action runs before the window disappears.
  void OnClose(std::function<void()> action) override { action_ = std::move(action); }

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
