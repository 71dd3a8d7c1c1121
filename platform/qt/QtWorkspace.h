#pragma once

#include "platform/Workspace.h"

class QWidget;

namespace quillet::platform::qt {

/// The desktop, as far as Qt lets an application act on it. Main thread only.
class QtWorkspace final : public Workspace {
 public:
  /// @param window  the window that stands for the application; it outlives this object
  explicit QtWorkspace(QWidget& window) : window_(window) {}

  void ActivateIgnoringOtherApps() override;

 private:
  QWidget& window_;
};

}  // namespace quillet::platform::qt
