#pragma once

#include "platform/Applications.h"

namespace quillet::platform::macos {

/// Finds and opens macOS applications with Launch Services and NSWorkspace. A path names an
/// application bundle and ends in ".app". Any thread.
class LaunchServicesApplications final : public Applications {
 public:
  bool HasApplication(const std::string& path) override;

  /// Also activates an application that is already running. Returns before a started application
  /// is ready.
  bool OpenApplication(const std::string& path) override;
  std::vector<std::string> LaunchedApplications() override;
};

}  // namespace quillet::platform::macos
