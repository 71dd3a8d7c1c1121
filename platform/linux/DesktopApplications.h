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

/// What the path of an application names: an executable file, or a desktop entry (freedesktop.org),
/// which GIO reads and starts. One thread at a time.
class ApplicationFile {
 public:
  /// @return nothing when there is no such file, or it cannot be started.
  static std::optional<ApplicationFile> At(const std::string& path);

  /// The words of the command that starts it, without what stands for files to open.
  const std::vector<std::string>& command() const { return command_; }

  /// What its windows may give as their class, in lower case: the class that a desktop entry names
  /// and the file's own name, of an entry without its ending.
  const std::vector<std::string>& windowClasses() const { return windowClasses_; }

  /// Starts it.
  /// @param started  told the process's number, unless another process (the session's D-Bus) does
  ///                 the starting
  /// @return false when the system refuses.
  bool Start(const std::function<void(int pid)>& started) const;

 private:
  ApplicationFile() = default;

  std::shared_ptr<GAppInfo> info_;
  std::vector<std::string> command_;
  std::vector<std::string> windowClasses_;
};

/// The applications of a Linux desktop. A path names an executable file or a desktop entry.
///
/// An application runs while one of these exists: the process that was started for it; another
/// process with its command line; on X11, a window of the process or its descendants, or one of its
/// class. The file's name counts as a class, too.
///
/// A process that ends within ten seconds has handed over to another one, which may not be found,
/// or has failed. Starting it again for every record would open a thousand windows. Where windows
/// can be seen, the application then counts as running for a minute after its end and after each
/// request; elsewhere always, since nothing would show that it runs.
///
/// Started applications get no descriptor but /dev/null, and a session of their own, so that they
/// outlive this process and its terminal. None is a child of this process.
///
/// Any thread; calls take turns.
class DesktopApplications final : public Applications {
 public:
  /// @param onX11  whether windows are looked for and brought to the front by the X server. On
  ///               Wayland no program may do that with another one's window.
  /// @param clock  outlives this object
  DesktopApplications(bool onX11, Clock& clock) : onX11_(onX11), clock_(clock) {}

  bool HasApplication(const std::string& path) override;

  /// A window of the application that has the focus keeps it; else the topmost one gets it, a
  /// normal window before a palette or a dialog. Waits at most 0.3 seconds for that.
  bool OpenApplication(const std::string& path) override;

  std::vector<std::string> LaunchedApplications() override;

 private:
  // What is known of an application that was opened.
  struct Opened {
    int pid = 0;                              // of the process that was started or found; or 0
    std::unique_ptr<WatchedProcess> process;  // that one
    std::optional<std::chrono::nanoseconds> start;       // of a process that was started
    std::optional<std::chrono::nanoseconds> handedOver;  // renewed at each request
  };

  bool Start(const ApplicationFile& file, Opened& opened);
  bool IsRunning(const ApplicationFile& file, Opened& opened);
  std::optional<X11Windows::Window> WindowOf(const ApplicationFile& file, const Opened& opened);
  void BringToFront(const ApplicationFile& file, const Opened& opened);
  X11Windows* Windows();

  const bool onX11_;
  Clock& clock_;
  std::mutex mutex_;  // guards what follows
  std::unique_ptr<X11Windows> windows_;
  std::map<std::string, Opened> opened_;  // by path
};

}  // namespace quillet::platform::linux_desktop
