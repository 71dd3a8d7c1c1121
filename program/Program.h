#pragma once

#include <QApplication>
#include <optional>
#include <string>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "platform/SerialRegistry.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFileStore.h"
#include "platform/posix/PosixSerialLine.h"
#include "platform/posix/SingleInstance.h"
#include "platform/posix/SyslogLog.h"
#include "platform/posix/TerminationSignals.h"
#include "platform/qt/QtDescriptorWatch.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtOwnKeyFilter.h"
#include "platform/qt/QtPanels.h"
#include "platform/qt/QtRunsWindow.h"
#include "platform/qt/QtSettingsWindow.h"
#include "platform/qt/QtTicker.h"
#include "program/Desktop.h"

namespace quillet {

/// The complete program except the registry of serial ports. Create one with `new` on the main
/// thread, after EnsureStandardDescriptors. Never destroyed: the read thread and a waiting
/// connection thread use its members until the process ends.
class Program {
 public:
  /// @param arguments  the arguments of main
  /// @param paths      paths of the program's files
  Program(char** arguments, Paths paths);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() = delete;

  /// Shows the window and runs the main loop until the window is closed or a signal requests
  /// termination, then ends the process. Main thread.
  /// @param registry  must live until the process ends
  /// @param instance  raises the window on each request; must live until the process ends; may be
  ///                  null
  [[noreturn]] void Run(platform::SerialRegistry& registry,
                        platform::posix::SingleInstance* instance = nullptr);

  /// Ends the SingleInstance, then ends the process with LeaveProcess. Main thread.
  [[noreturn]] void Leave(int status);

  /// Returns the main window. Main thread.
  platform::qt::QtMainWindow& window() { return window_; }

 private:
  [[noreturn]] void LeaveOnSignal();
  void End();
  void Raise(const std::string& token);

  int argc_ = 1;
  char* argv_[2];
  char** const arguments_;
  const Paths paths_;
  platform::posix::SyslogLog log_;
  platform::posix::PosixClock clock_;
  platform::posix::PosixSerialLine line_;
  platform::posix::PosixFileStore files_;
  QApplication application_;
  platform::qt::QtMainQueue mainQueue_;
  platform::qt::QtMainWindow window_;
  platform::qt::QtSettingsWindow settingsWindow_;
  platform::qt::QtRunsWindow runsWindow_;
  platform::qt::QtPanels panels_;
  platform::qt::QtTicker ticker_;
  platform::qt::QtDescriptorWatcher watcher_;
  std::optional<platform::posix::TerminationSignals> signals_;
  const Desktop desktop_;
  std::optional<platform::qt::QtOwnKeyFilter> ownKeyFilter_;
  QuilletAppDelegate delegate_;
  SyncController* controller_ = nullptr;
  platform::posix::SingleInstance* instance_ = nullptr;
};

}  // namespace quillet
