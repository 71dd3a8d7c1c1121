#include "platform/qt/QtOwnKeyFilter.h"

#include <QCoreApplication>
#include <utility>

namespace quillet::platform::qt {
namespace {

// Scan codes are X key codes on X11 and Wayland: evdev codes plus this offset (xkbcommon.h,
// xkb_keycode_t).
constexpr quint32 kScanCodeOffset = 8;

bool IsKey(const QEvent& event) {
  return event.type() == QEvent::ShortcutOverride || event.type() == QEvent::KeyPress ||
         event.type() == QEvent::KeyRelease;
}

}  // namespace

QtOwnKeyFilter::QtOwnKeyFilter(OwnKeys& keys, std::function<void()> ignored)
    : keys_(keys), ignored_(std::move(ignored)) {
  QCoreApplication::instance()->installNativeEventFilter(this);
  QCoreApplication::instance()->installEventFilter(this);
}

QtOwnKeyFilter::~QtOwnKeyFilter() {
  QCoreApplication::instance()->removeNativeEventFilter(this);
}

bool QtOwnKeyFilter::nativeEventFilter(const QByteArray& type, void* event, qintptr*) {
  const bool hasKeys = type == "xcb_generic_event_t" || type == "mac_generic_NSEvent";
  if (!hasKeys || !keys_.IsOwnEvent(event)) return false;
  ignored_();
  return true;
}

bool QtOwnKeyFilter::eventFilter(QObject* watched, QEvent* event) {
  // Checks events only at windows: Qt sends each event to a window before the window's widgets.
  if (!watched->isWindowType() || !event->spontaneous() || !IsKey(*event) ||
      !IsOwn(static_cast<QKeyEvent&>(*event))) {
    return QObject::eventFilter(watched, event);
  }
  event->accept();  // an accepted ShortcutOverride triggers no shortcut
  ignored_();
  return true;
}

bool QtOwnKeyFilter::IsOwn(const QKeyEvent& event) {
  const WindowKey key{.code = static_cast<std::uint16_t>(event.nativeScanCode() - kScanCodeOffset),
                      .down = event.type() != QEvent::KeyRelease,
                      .repeats = event.isAutoRepeat(),
                      .time = std::chrono::milliseconds(event.timestamp())};
  const auto overridden = std::exchange(overridden_, std::nullopt);
  if (event.type() == QEvent::KeyPress && overridden && overridden->code == key.code &&
      overridden->time == key.time) {
    return true;
  }
  const bool isOwn = keys_.IsOwnKey(key);
  if (isOwn && event.type() == QEvent::ShortcutOverride) overridden_ = key;
  return isOwn;
}

}  // namespace quillet::platform::qt
