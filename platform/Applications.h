#pragma once

#include <string>
#include <vector>

namespace quillet::platform {

/// Other applications on the desktop, each known by the path that it is opened by.
class Applications {
 public:
  virtual ~Applications() = default;

  /// Whether a path, which has to be an absolute one, names anything, be it an application or not.
  /// Any thread.
  virtual bool HasApplication(const std::string& path) = 0;

  /// Starts the application at a path, or brings it to the front when it runs already; never
  /// starts a second one. Any thread; does not wait until a started application is ready, and
  /// waits a short stated while at most for one that comes to the front.
  /// @return false when the system could do neither, as with a path that names no application.
  virtual bool OpenApplication(const std::string& path) = 0;

  /// The paths of applications that run, in the form in which OpenApplication takes them. Where
  /// the system does not know which application a process belongs to, only those that were opened
  /// through this object are listed. Any thread.
  virtual std::vector<std::string> LaunchedApplications() = 0;
};

}  // namespace quillet::platform
