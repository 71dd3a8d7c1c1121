#pragma once

#include <memory>

#include "base/SystemLog.h"
#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"
#include "platform/SerialRegistry.h"
#include "platform/Workspace.h"

class QWidget;

namespace quillet {

/// This system's desktop: what of it the program acts on, and its ways to other applications.
struct Desktop {
  std::unique_ptr<platform::Workspace> workspace;        ///< brings the program forward
  std::unique_ptr<platform::KeyEvents> keyEvents;        ///< types into other applications
  std::unique_ptr<platform::Pasteboard> pasteboard;      ///< what they paste
  std::unique_ptr<platform::Applications> applications;  ///< starts them
};

/// What the desktop is made from. Each of them outlives it.
struct DesktopParts {
  SystemLog& log;                  ///< where refusals are told of
  platform::Clock& clock;          ///< paces a virtual keyboard
  platform::MainQueue& mainQueue;  ///< where the clipboard is used
  QWidget* window;                 ///< the one that stands for the program
};

/// The desktop of the session that the process runs in. Main thread.
Desktop DesktopOfSession(const DesktopParts& parts);

/// This system's registry of serial ports. Made at the first call, on the main thread once there is
/// an application object, and never destroyed.
platform::SerialRegistry& SerialRegistryOfSystem();

}  // namespace quillet
