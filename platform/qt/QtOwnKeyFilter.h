#pragma once

#include <QAbstractNativeEventFilter>
#include <QKeyEvent>
#include <QObject>
#include <functional>
#include <optional>

#include "platform/OwnKeys.h"

namespace quillet::platform::qt {

/// Makes all windows, dialogs and menus of the program ignore the key events that the program
/// itself posted, as long as this object exists. Main thread, while a QApplication exists.
class QtOwnKeyFilter final : public QObject, public QAbstractNativeEventFilter {
 public:
  /// @param keys     recognizes the events; outlives this object
  /// @param ignored  called for each ignored event
  QtOwnKeyFilter(OwnKeys& keys, std::function<void()> ignored);
  ~QtOwnKeyFilter() override;

  /// Removes events of the windowing system before the toolkit handles them.
  bool nativeEventFilter(const QByteArray& type, void* event, qintptr* result) override;
  /// Removes own key events on Wayland, where native event filters do not see them.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  bool IsOwn(const QKeyEvent& event);

  OwnKeys& keys_;
  const std::function<void()> ignored_;
  // Qt sends a ShortcutOverride event before each press. If this program posted the key, this field
  // contains it from that event until the press.
  std::optional<WindowKey> overridden_;
};

}  // namespace quillet::platform::qt
