#pragma once

#include "platform/Workspace.h"

namespace quillet::platform::macos {

/// The application object that this process shares with the toolkit. Main thread only, once the
/// toolkit has made it.
class SharedApplication final : public Workspace {
 public:
  /// Since macOS 14 the system takes this as a request and may leave another application in front.
  void ActivateIgnoringOtherApps() override;
};

}  // namespace quillet::platform::macos
