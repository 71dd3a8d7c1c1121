#pragma once

#include <functional>
#include <string_view>
#include <utility>

#include "base/SystemLog.h"
#include "platform/Controls.h"
#include "platform/MainQueue.h"

namespace quillet {

class SyncController;

/// The application object: handles the start of the program and the closing of the main window.
class QuilletAppDelegate {
 public:
  /// @param log        must outlive this object
  /// @param mainQueue  receives title changes; must outlive this object
  QuilletAppDelegate(SystemLog& log, platform::MainQueue& mainQueue)
      : log_(log), mainQueue_(mainQueue) {}

  ///@{ Main window and controller, not owned. Set both before applicationDidFinishLaunching.
  platform::Window* window() const { return window_; }
  void setWindow(platform::Window* window) { window_ = window; }
  SyncController* syncController() const { return syncController_; }
  void setSyncController(SyncController* controller) { syncController_ = controller; }
  ///@}

  void applicationDidFinishLaunching();  ///< initializes the controller; main thread, once
  void windowWillClose();                ///< disconnects and stops port notifications; main thread

  /// Sets the function that starts the program again. The function must not return.
  void OnRestart(std::function<void()> action) { restart_ = std::move(action); }
  /// Ends the program as if the window had been closed, then starts it again. Main thread.
  void Restart();

  /// Changes the main window's title, through the main queue. Any thread.
  void changeWindowTitle(std::string_view title);

  /// Returns true: closing the main window ends the program.
  bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

 private:
  SystemLog& log_;
  platform::MainQueue& mainQueue_;
  platform::Window* window_ = nullptr;
  SyncController* syncController_ = nullptr;
  std::function<void()> restart_;
};

}  // namespace quillet
