#include "platform/qt/X11Connection.h"

#include <QGuiApplication>

namespace quillet::platform::qt {

xcb_connection_t* X11Connection() {
#if QT_CONFIG(xcb)
  const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 != nullptr) return x11->connection();
#endif
  return nullptr;
}

}  // namespace quillet::platform::qt
