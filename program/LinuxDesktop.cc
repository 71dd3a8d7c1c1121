#include <cstdlib>

#include "platform/linux/DesktopApplications.h"
#include "platform/linux/DesktopSession.h"
#include "platform/linux/UdevSerialRegistry.h"
#include "platform/posix/HomeFolder.h"
#include "platform/qt/QtDescriptorWatch.h"
#include "platform/qt/QtPasteboard.h"
#include "platform/qt/QtWorkspace.h"
#include "program/Desktop.h"

namespace quillet {

Desktop DesktopOfSession(const DesktopParts& parts) {
  using namespace platform::linux_desktop;
  return {.workspace = std::make_unique<platform::qt::QtWorkspace>(*parts.window),
          .keyEvents = MakeKeyEventsOfSession(std::getenv, parts.log, parts.clock),
          .pasteboard = std::make_unique<platform::qt::QtPasteboard>(parts.mainQueue),
          .applications =
              std::make_unique<DesktopApplications>(IsX11Session(std::getenv), parts.clock)};
}

// $XDG_STATE_HOME is ignored unless it is absolute (freedesktop.org, XDG Base Directory).
std::string ArchiveFolderOfUser() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return std::string(state) + "/quillet/runs";
  const std::string home = platform::posix::HomeFolder();
  return home.empty() ? home : home + "/.local/state/quillet/runs";
}

platform::SerialRegistry& SerialRegistryOfSystem() {
  // Static, so that LeakSanitizer sees it as reachable.
  static auto* const watcher = new platform::qt::QtDescriptorWatcher;
  static auto* const registry = new platform::linux_desktop::UdevSerialRegistry(*watcher);
  return *registry;
}

}  // namespace quillet
