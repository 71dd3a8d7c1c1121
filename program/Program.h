#pragma once

#include <QApplication>
#include <string>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "platform/SerialRegistry.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFileStore.h"
#include "platform/posix/PosixSerialLine.h"
#include "platform/posix/SyslogLog.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtPanels.h"
#include "platform/qt/QtSettingsWindow.h"
#include "platform/qt/QtTicker.h"
#include "program/Desktop.h"

namespace quillet {

/// The whole program put together but for the registry of serial ports. Made once, with `new`, on
/// the main thread after EnsureStandardDescriptors, and never destroyed: the read thread and a
/// waiting connection thread go on using its parts until the process has gone.
class Program {
 public:
  /// @param name        the process's own name, as argv[0] has it
  /// @param dataFolder  absolute path of the folder for the settings file and the output files
  Program(char* name, std::string dataFolder);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() = delete;

  /// Shows the window, starts everything and runs until the window has been closed; then leaves
  /// the process.
  /// @param registry  lives as long as the process
  [[noreturn]] void Run(platform::SerialRegistry& registry);

  /// Leaves the process as it is, with an exit status. Main thread.
  [[noreturn]] void Leave(int status);

  /// The main window. Main thread.
  platform::qt::QtMainWindow& window() { return window_; }

 private:
  int argc_ = 1;
  char* argv_[2];
  const std::string dataFolder_;
  platform::posix::SyslogLog log_;
  platform::posix::PosixClock clock_;
  platform::posix::PosixSerialLine line_;
  platform::posix::PosixFileStore files_;
  QApplication application_;
  platform::qt::QtMainQueue mainQueue_;
  platform::qt::QtMainWindow window_;
  platform::qt::QtSettingsWindow settingsWindow_;
  platform::qt::QtPanels panels_;
  platform::qt::QtTicker ticker_;
  const Desktop desktop_;
  QuilletAppDelegate delegate_;
  SyncController* controller_ = nullptr;
};

}  // namespace quillet
