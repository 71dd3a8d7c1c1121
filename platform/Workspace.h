#pragma once

#include <string>
#include <vector>

namespace quillet::platform {

/// The desktop among whose applications the program runs.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Brings this application to the front even if another one is active. Main thread. A desktop
  /// that does not allow it marks the window as asking for attention instead.
  virtual void ActivateIgnoringOtherApps() = 0;

  /// Whether a path names something that could be opened as an application. Any thread.
  virtual bool HasApplication(const std::string& path) = 0;

  /// Starts the application at a path, or brings it to the front when it runs already; never
  /// starts a second one. Any thread; does not wait for the application.
  /// @return false when the system could do neither.
  virtual bool OpenApplication(const std::string& path) = 0;

  /// The paths of the applications that run, in the form in which OpenApplication takes them. Any
  /// thread.
  virtual std::vector<std::string> LaunchedApplications() = 0;
};

}  // namespace quillet::platform
