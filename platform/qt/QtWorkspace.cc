#include "platform/qt/QtWorkspace.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QTimer>
#include <QUrl>
#include <QWidget>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {

void QtWorkspace::ActivateIgnoringOtherApps() {
  if (!window_.isVisible()) return;
  window_.setWindowState(window_.windowState() & ~Qt::WindowMinimized);
  window_.raise();
  window_.activateWindow();
  QTimer::singleShot(400, &window_, [window = &window_] {
    if (window->isVisible() && !QApplication::activeWindow()) QApplication::alert(window);
  });
}

bool QtWorkspace::IsActive() {
  return QGuiApplication::focusWindow() != nullptr;
}

void QtWorkspace::ShowInFolder(const std::string& path) {
  const QString file = ToQString(path);
  QDBusMessage call = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.FileManager1"),
      QStringLiteral("/org/freedesktop/FileManager1"),
      QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
  call << QStringList(QUrl::fromLocalFile(file).toString()) << QString();
  auto* watcher =
      new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), &window_);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, file] {
    watcher->deleteLater();
    if (!watcher->isError()) return;
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath()));
  });
}

void QtWorkspace::OpenFile(const std::string& path) {
  QDesktopServices::openUrl(QUrl::fromLocalFile(ToQString(path)));
}

}  // namespace quillet::platform::qt
