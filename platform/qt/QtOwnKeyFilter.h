#pragma once

#include <QAbstractNativeEventFilter>
#include <QKeyEvent>
#include <QObject>
#include <functional>
#include <optional>

#include "platform/OwnKeys.h"

namespace quillet::platform::qt {

/// While this object exists, all windows, dialogs and menus of the program ignore key events that
/// the program itself posted. Main thread, while a QApplication exists.
class QtOwnKeyFilter final : public QObject, public QAbstractNativeEventFilter {
 public:
  /// @param keys     recognizes the events; must outlive this object
  /// @param ignored  called for each ignored event
  QtOwnKeyFilter(OwnKeys& keys, std::function<void()> ignored);
  ~QtOwnKeyFilter() override;

  /// Removes Quillet's own key events on X11 and macOS before Qt handles them.
  bool nativeEventFilter(const QByteArray& type, void* event, qintptr* result) override;
  /// Removes Quillet's own key events on Wayland, where native event filters do not see them.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  bool IsOwn(const QKeyEvent& event);

  OwnKeys& keys_;
  const std::function<void()> ignored_;
  // The key of the last ShortcutOverride event, if the program posted the key. Qt sends such an
  // event before each key press. The next key event clears this field.
  std::optional<WindowKey> overridden_;
};

}  // namespace quillet::platform::qt
