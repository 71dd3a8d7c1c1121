#pragma once

#include <string>
#include <vector>

namespace quillet::platform {

/// Finds and starts other applications on the desktop. Identifies them by absolute path. Any
/// thread.
class Applications {
 public:
  virtual ~Applications() = default;

  /// Returns true if `path` is absolute and exists, whether or not it is an application.
  virtual bool HasApplication(const std::string& path) = 0;

  /// Starts an application, or brings it to the front if it is running. Never starts a second
  /// instance. Does not wait for the application to become ready; may wait up to 0.3 s for its
  /// window to get the focus.
  /// @return false if the system refused or `path` is not an application
  virtual bool OpenApplication(const std::string& path) = 0;

  /// Returns the paths of running applications, in the form that OpenApplication accepts. On
  /// systems that cannot map processes to applications, lists only those opened through this
  /// object.
  virtual std::vector<std::string> LaunchedApplications() = 0;
};

}  // namespace quillet::platform
