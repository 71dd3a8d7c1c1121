#pragma once

#include "platform/Applications.h"

namespace quillet::platform::macos {

/// The applications of macOS, by Launch Services and the shared workspace. A path names an
/// application's bundle as the Finder has it, with ".app" at its end.
///
/// Launch Services itself brings an application to the front that runs already, and returns before
/// a started one is ready.
class LaunchServicesApplications final : public Applications {
 public:
  bool HasApplication(const std::string& path) override;
  bool OpenApplication(const std::string& path) override;

  /// Every application that the workspace lists, whoever has launched it.
  std::vector<std::string> LaunchedApplications() override;
};

}  // namespace quillet::platform::macos
