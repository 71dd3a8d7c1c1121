#pragma once

#include <string>

namespace quillet::platform {

/// The desktop session.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Brings this application to the front. A desktop that does not allow this may mark the window
  /// as demanding attention instead. Main thread.
  virtual void ActivateIgnoringOtherApps() = 0;

  /// Returns true if a window of this application has focus. Main thread.
  virtual bool IsActive() = 0;

  /// Shows a file in the desktop's file manager, or at least its folder. Returns before the file
  /// manager has opened. Main thread.
  /// @param path  absolute path, UTF-8
  virtual void ShowInFolder(const std::string& path) = 0;

  /// Opens a file with the desktop's default application for its type. Returns before the
  /// application has opened it. Main thread.
  /// @param path  absolute path, UTF-8
  virtual void OpenFile(const std::string& path) = 0;
};

}  // namespace quillet::platform
