#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/SystemLog.h"
#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"
#include "platform/KeyEvents.h"
#include "platform/MainQueue.h"
#include "platform/OwnKeys.h"
#include "platform/Pasteboard.h"
#include "platform/SerialRegistry.h"
#include "platform/Workspace.h"

class QWidget;

namespace quillet {

/// The desktop's backends.
struct Desktop {
  std::unique_ptr<platform::Workspace> workspace;  ///< brings Quillet to the front
  std::unique_ptr<platform::OwnKeys>
      ownKeys;  ///< recognizes the events of `keyEvents`; may be null
  std::unique_ptr<platform::KeyEvents> keyEvents;        ///< types into other applications
  std::unique_ptr<platform::Pasteboard> pasteboard;      ///< provides text for pasting
  std::unique_ptr<platform::Applications> applications;  ///< starts other applications

  /// Raises and focuses a window of this process at the user's request.
  /// @param window  a visible window
  /// @param token   result of ActivationToken in the process that the user started
  std::function<void(QWidget& window, const std::string& token)> raise;
};

/// Objects that the desktop's backends use. All outlive the desktop.
struct DesktopParts {
  SystemLog& log;                  ///< receives errors
  platform::Clock& clock;          ///< paces the virtual keyboard
  platform::FileStore& files;      ///< stores the user's permission to type
  platform::MainQueue& mainQueue;  ///< runs clipboard operations
  QWidget* window;                 ///< main window
};

/// Creates the backends for the desktop session of this process. Main thread.
Desktop DesktopOfSession(const DesktopParts& parts);

/// Returns the name of the user's display, or an empty string if there is none. Any thread.
std::string DisplayOfSession();

/// Returns the activation token with which the process was started, or an empty string if there is
/// none. The token permits the process to raise a window. Call before creating the QApplication,
/// which consumes the token.
std::string ActivationToken();

/// Returns the absolute path of the folder for the user's archive, or an empty string if the user
/// has no home folder. Main thread.
std::string ArchiveFolderOfUser();

/// Returns the absolute path of the user guide, or an empty string if it is not installed. Any
/// thread.
std::string UserGuide();

/// Returns the registry of serial ports. The first call creates the registry, which is never
/// destroyed. Main thread, after the QApplication has been created.
platform::SerialRegistry& SerialRegistryOfSystem();

}  // namespace quillet
