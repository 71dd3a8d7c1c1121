#pragma once

#include "platform/Workspace.h"

class QWidget;

namespace quillet::platform::qt {

/// A Workspace that activates one window through Qt. Main thread only.
class QtWorkspace final : public Workspace {
 public:
  /// @param window  the application's main window; it must outlive this object
  explicit QtWorkspace(QWidget& window) : window_(window) {}

  /// If the application is still inactive after 400 ms, the window demands attention. Does nothing
  /// if the window is hidden.
  void ActivateIgnoringOtherApps() override;
  bool IsActive() override;
  /// Asks the file manager over D-Bus to select the file (org.freedesktop.FileManager1). If no file
  /// manager supports this, opens the folder with the desktop's default file manager.
  void ShowInFolder(const std::string& path) override;
  void OpenFile(const std::string& path) override;

 private:
  QWidget& window_;
};

}  // namespace quillet::platform::qt
