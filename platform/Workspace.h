#pragma once

namespace quillet::platform {

/// The desktop on which the program's own window stands.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Brings this application to the front even if another one is active. Main thread. A desktop
  /// that does not allow it marks the window as asking for attention instead.
  virtual void ActivateIgnoringOtherApps() = 0;
};

}  // namespace quillet::platform
