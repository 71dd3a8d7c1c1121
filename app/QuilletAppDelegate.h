#pragma once

#include <string_view>

#include "base/SystemLog.h"
#include "platform/Controls.h"
#include "platform/MainQueue.h"

namespace quillet {

class SyncController;

/// The application object: hears when the program has started and when its window closes.
class QuilletAppDelegate {
 public:
  /// @param log        outlives this object, as does `mainQueue`
  /// @param mainQueue  the queue of changes of controls
  QuilletAppDelegate(SystemLog& log, platform::MainQueue& mainQueue)
      : log_(log), mainQueue_(mainQueue) {}

  /// The main window; not owned.
  platform::Window* window() const { return window_; }
  /// Sets the main window. Before the program is brought up.
  void setWindow(platform::Window* window) { window_ = window; }

  /// The controller; not owned.
  SyncController* syncController() const { return syncController_; }
  /// Sets the controller. Before the program is brought up.
  void setSyncController(SyncController* controller) { syncController_ = controller; }

  /// Brings the program up. `window` and `syncController` must be set. Main thread, once.
  void applicationDidFinishLaunching();

  /// Ends the connection and the notifications. Main thread.
  void windowWillClose();

  /// Changes the main window's title, in call order with all other changes. Any thread.
  void changeWindowTitle(std::string_view title);

  /// Closing the main window ends the program.
  bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

 private:
  SystemLog& log_;
  platform::MainQueue& mainQueue_;
  platform::Window* window_ = nullptr;
  SyncController* syncController_ = nullptr;
};

}  // namespace quillet
