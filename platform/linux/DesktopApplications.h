#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/linux/Processes.h"
#include "platform/linux/X11Windows.h"

typedef struct _GAppInfo GAppInfo;

namespace quillet::platform::linux_desktop {

/// An executable file or a desktop entry (freedesktop.org), read and started through GIO. One
/// thread at a time.
class ApplicationFile {
 public:
  /// Returns the application at `path`, or no value if the file is not an application.
  static std::optional<ApplicationFile> At(const std::string& path);

  /// Returns the program and arguments of the start command, without field codes for files.
  const std::vector<std::string>& command() const { return command_; }

  /// Returns the possible classes of the application's windows, in lower case: StartupWMClass, the
  /// file name without ".desktop", and the program's name if the command has no arguments and
  /// StartupWMClass is not set.
  const std::vector<std::string>& windowClasses() const { return windowClasses_; }

  /// Starts the application.
  /// @param started  receives the process ID; not called if D-Bus starts the application
  /// @return false if the application could not be started
  bool Start(const std::function<void(int pid)>& started) const;

 private:
  ApplicationFile() = default;

  std::shared_ptr<GAppInfo> info_;
  std::vector<std::string> command_;
  std::vector<std::string> windowClasses_;
};

/// Starts applications on a Linux desktop and finds those that are running. A path is an executable
/// file or a desktop entry. Any thread; calls are serialized.
///
/// An application counts as running while one of these exists:
/// - the process that was started, or another process with the same command line
/// - on X11, a window of that process or of one of its descendants
/// - on X11, a window with one of the application's window classes
///
/// If a started process ends within 10 s, it has failed or has passed the request to another
/// process, which cannot always be found. The application then counts as running, so that it is not
/// started again for every record. On X11, it stops counting as running after 1 min without a
/// request. Without X11, it counts as running until Quillet ends.
///
/// Started applications are not child processes. They have a separate session, so they outlive this
/// process, and inherit no descriptors: standard input, output and error are /dev/null.
class DesktopApplications final : public Applications {
 public:
  /// @param onX11  true: find and raise windows through the X server, which is impossible on
  ///               Wayland
  /// @param clock  must outlive this object
  DesktopApplications(bool onX11, Clock& clock) : onX11_(onX11), clock_(clock) {}

  bool HasApplication(const std::string& path) override;

  /// Gives focus to the application's topmost window, unless one of its windows already has focus.
  /// Prefers normal windows to dialogs. Waits up to 0.3 s for the focus change.
  bool OpenApplication(const std::string& path) override;

  std::vector<std::string> LaunchedApplications() override;

 private:
  // State of an opened application.
  struct Opened {
    int pid = 0;                                    // ID of a started or found process, or 0
    std::unique_ptr<WatchedProcess> process;        // watches `pid`
    std::optional<std::chrono::nanoseconds> start;  // start time, if this object started it
    // Set if the process may have passed a request on to an unknown process: the time when the
    // process ended, or the time of a later request.
    std::optional<std::chrono::nanoseconds> handedOver;
  };

  bool Start(const ApplicationFile& file, Opened& opened);
  bool IsRunning(const ApplicationFile& file, Opened& opened);
  std::optional<X11Windows::Window> WindowOf(const ApplicationFile& file, const Opened& opened);
  X11Windows* Windows();

  const bool onX11_;
  Clock& clock_;
  std::mutex mutex_;  // guards the members below
  std::unique_ptr<X11Windows> windows_;
  std::map<std::string, Opened> opened_;  // by path
};

}  // namespace quillet::platform::linux_desktop
