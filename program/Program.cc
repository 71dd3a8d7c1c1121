#include "program/Program.h"

#include <QIcon>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "output/Choices.h"
#include "platform/posix/ProcessExit.h"

namespace quillet {

// Qt receives only the program's name: Quillet takes no arguments.
Program::Program(char** arguments, Paths paths)
    : argv_{arguments[0], nullptr},
      arguments_(arguments),
      paths_(std::move(paths)),
      application_(argc_, argv_),
      settingsWindow_(window_.widget(), kChoices),
      runsWindow_(window_.widget()),
      panels_(settingsWindow_),
      desktop_(DesktopOfSession({log_, clock_, files_, mainQueue_, &window_.widget()})),
      delegate_(log_, mainQueue_) {
  QApplication::setApplicationName("quillet");
  QApplication::setDesktopFileName("org.quillet.Quillet");
  QApplication::setQuitOnLastWindowClosed(
      delegate_.applicationShouldTerminateAfterLastWindowClosed());
}

void Program::Run(platform::SerialRegistry& registry, platform::posix::SingleInstance* instance) {
  controller_ = new SyncController(
      Platform{log_, clock_, line_, files_, mainQueue_, registry, *desktop_.workspace, panels_,
               ticker_, *desktop_.keyEvents, *desktop_.pasteboard, *desktop_.applications},
      MainWindowControls{.barcodeView = window_.view(),
                         .portList = window_.portList(),
                         .connectTavo = window_.connectItem(),
                         .settings = window_.settingsItem(),
                         .synchronize = window_.synchronizeItem(),
                         .clearview = window_.clearItem(),
                         .earlierRuns = window_.earlierRunsItem(),
                         .status = window_.status()},
      settingsWindow_, runsWindow_, paths_);
  delegate_.setWindow(&window_.window());
  delegate_.setSyncController(controller_);
  if (desktop_.ownKeys) {
    ownKeyFilter_.emplace(*desktop_.ownKeys, [this] { controller_->KeyIgnored(); });
  }
  delegate_.OnRestart([this] {
    End();
    platform::posix::RestartProcess(arguments_, log_);
  });
  signals_.emplace(watcher_, [this] { LeaveOnSignal(); });
  window_.Show();
  instance_ = instance;
  if (instance_) instance_->Listen(watcher_, [this](const auto& token) { Raise(token); });
  delegate_.applicationDidFinishLaunching();
  platform::posix::LeaveLikewiseOnExit(log_);
  const int status = QApplication::exec();
  End();
  Leave(status);
}

void Program::Raise(const std::string& token) {
  QWidget* const dialog = QApplication::activeModalWidget();
  desktop_.raise(dialog != nullptr ? *dialog : window_.widget(), token);
}

// Pasteboard::Keep runs a nested main loop. If the user starts Quillet again during this time, the
// new process must not find this instance.
void Program::End() {
  if (instance_) instance_->End();
  desktop_.keyEvents->End();
  desktop_.pasteboard->Keep();
}

// A nested main loop, such as that of a modal dialog, does not return when the main loop ends. The
// process therefore ends here.
void Program::LeaveOnSignal() {
  constexpr std::chrono::seconds kLongestFlush{1};
  delegate_.windowWillClose();
  End();
  platform::posix::LeaveProcess(EXIT_SUCCESS, log_, kLongestFlush);
}

void Program::Leave(int status) {
  if (instance_) instance_->End();
  platform::posix::LeaveProcess(status, log_);
}

}  // namespace quillet
