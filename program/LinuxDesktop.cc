#include <QApplication>
#include <QWidget>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/DesktopApplications.h"
#include "platform/linux/DesktopSession.h"
#include "platform/linux/UdevSerialRegistry.h"
#include "platform/linux/X11Windows.h"
#include "platform/posix/HomeFolder.h"
#include "platform/qt/QtDescriptorWatch.h"
#include "platform/qt/QtPasteboard.h"
#include "platform/qt/QtWorkspace.h"
#include "platform/qt/X11Connection.h"
#include "program/Desktop.h"

namespace quillet {
namespace {

constexpr char kActivationToken[] = "XDG_ACTIVATION_TOKEN";

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

// On X11, a window manager may ignore activateWindow(), because the user has not used this process
// recently. It accepts the same request from a pager. On Wayland, only a token permits activation.
// Qt reads the token from the environment.
void RaiseForUser(QWidget& window, const std::string& token, platform::Clock& clock) {
  constexpr std::chrono::milliseconds kFocusLimit{300};
  window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
  const bool onX11 = QGuiApplication::platformName() == QLatin1String("xcb");
  if (!onX11 && !token.empty()) qputenv(kActivationToken, token.c_str());
  window.raise();
  window.activateWindow();
  if (!onX11) return;
  platform::linux_desktop::X11Windows windows;
  if (!token.empty()) windows.EndStartup(token);
  windows.Activate(static_cast<std::uint32_t>(window.winId()), kFocusLimit, clock);
}

}  // namespace

Desktop DesktopOfSession(const DesktopParts& parts) {
  using namespace platform::linux_desktop;
  SessionKeys keys = MakeKeysOfSession(std::getenv, parts.log, parts.clock, parts.files,
                                       platform::qt::X11Connection());
  return {
      .workspace = std::make_unique<platform::qt::QtWorkspace>(*parts.window),
      .ownKeys = std::move(keys.own),
      .keyEvents = std::move(keys.events),
      .pasteboard = std::make_unique<platform::qt::QtPasteboard>(parts.mainQueue),
      .applications = std::make_unique<DesktopApplications>(IsX11Session(std::getenv), parts.clock),
      .raise = [&clock = parts.clock](QWidget& window, const std::string& token) {
        RaiseForUser(window, token, clock);
      }};
}

std::string DisplayOfSession() {
  std::string wayland = Variable("WAYLAND_DISPLAY");
  if (!wayland.empty()) return wayland;
  // Removes the screen number, which follows a dot (X(7)).
  const std::string x11 = Variable("DISPLAY");
  const std::size_t colon = x11.rfind(':');
  return colon == std::string::npos ? x11 : x11.substr(0, x11.find('.', colon));
}

std::string ActivationToken() {
  const bool onX11 = platform::linux_desktop::IsX11Session(std::getenv);
  return Variable(onX11 ? "DESKTOP_STARTUP_ID" : kActivationToken);
}

std::string ArchiveFolderOfUser() {
  const std::string state =
      platform::linux_desktop::StateFolder(std::getenv, platform::posix::HomeFolder());
  return state.empty() ? state : state + "/runs";
}

// The guide is installed at a path relative to the program (GNUInstallDirs in CMake).
std::string UserGuide() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto guide = program.parent_path().parent_path() / "share/doc/quillet/user-guide.md";
  return std::filesystem::is_regular_file(guide, error) ? guide.string() : std::string();
}

platform::SerialRegistry& SerialRegistryOfSystem() {
  // Static, so that LeakSanitizer sees it as reachable.
  static auto* const watcher = new platform::qt::QtDescriptorWatcher;
  static auto* const registry = new platform::linux_desktop::UdevSerialRegistry(*watcher);
  return *registry;
}

}  // namespace quillet
