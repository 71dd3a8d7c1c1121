#include "platform/macos/AppKit.h"
#include "platform/macos/IoKitSerialRegistry.h"
#include "platform/macos/LaunchServicesApplications.h"
#include "platform/macos/QuartzKeyEvents.h"
#include "platform/posix/HomeFolder.h"
#include "program/Desktop.h"

namespace quillet {

Desktop DesktopOfSession(const DesktopParts& parts) {
  using namespace platform::macos;
  return {.workspace = std::make_unique<SharedApplication>(),
          .ownKeys = std::make_unique<QuartzOwnKeys>(),
          .keyEvents = std::make_unique<QuartzKeyEvents>(parts.log),
          .pasteboard = std::make_unique<GeneralPasteboard>(),
          .applications = std::make_unique<LaunchServicesApplications>(),
          .raise = [](QWidget&, const std::string&) {
            SharedApplication().ActivateIgnoringOtherApps();
          }};
}

std::string DisplayOfSession() {
  return "Aqua";
}

std::string ActivationToken() {
  return {};
}

std::string ArchiveFolderOfUser() {
  const std::string home = platform::posix::HomeFolder();
  return home.empty() ? home : home + "/Library/Application Support/Quillet/Runs";
}

std::string UserGuide() {
  return {};  // the bundle does not contain the guide
}

platform::SerialRegistry& SerialRegistryOfSystem() {
  // Static, so that LeakSanitizer sees it as reachable.
  static auto* const registry = new platform::macos::IoKitSerialRegistry;
  return *registry;
}

}  // namespace quillet
