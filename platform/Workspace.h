#pragma once

namespace quillet::platform {

/// The desktop session.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Brings this application to the front. A desktop that does not allow this may mark the window
  /// as demanding attention instead. Main thread.
  virtual void ActivateIgnoringOtherApps() = 0;
};

}  // namespace quillet::platform
