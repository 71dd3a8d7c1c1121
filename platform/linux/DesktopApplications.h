#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Applications.h"
#include "platform/linux/ApplicationFile.h"
#include "platform/linux/X11Windows.h"
#include "platform/posix/Descriptor.h"

namespace quillet::platform::linux_desktop {

/// The applications of a Linux desktop. A path names an executable file or a desktop entry
/// (a .desktop file), which GIO reads and starts.
///
/// An application runs when one of these is there: the process that was started for it; another
/// process with its command line; on X11, a window of its class. Where a start has only handed over
/// to another process and has ended within ten seconds, none may be found. The application then
/// counts as running for a minute after each time it was asked for, since starting it again for
/// every record would open a thousand windows.
///
/// Started applications get no descriptor but /dev/null, a session of their own, so that they
/// outlive this process and the terminal that it was started from, and no parent that would have to
/// wait for them.
///
/// Any thread; calls take turns.
class DesktopApplications final : public Applications {
 public:
  /// @param onX11  whether windows are looked for and brought to the front by way of the X server.
  ///               On Wayland no program may do that with another one's window.
  explicit DesktopApplications(bool onX11) : onX11_(onX11) {}

  bool HasApplication(const std::string& path) override;

  /// Waits at most 0.3 seconds for a window that comes to the front.
  bool OpenApplication(const std::string& path) override;

  std::vector<std::string> LaunchedApplications() override;

 private:
  using Clock = std::chrono::steady_clock;

  // What is known of an application that was opened.
  struct Opened {
    int pid = 0;                             // of the process that was started or found; 0 for none
    std::optional<posix::Descriptor> alive;  // readable once that has ended (pidfd_open(2))
    Clock::time_point start;                 // of the process that was started
    std::optional<Clock::time_point> handedOver;  // renewed when it is asked for
  };

  static bool Start(const ApplicationFile& file, Opened& opened);
  bool IsRunning(const ApplicationFile& file, Opened& opened);
  std::optional<X11Windows::Window> WindowOf(const ApplicationFile& file, const Opened& opened);
  void BringToFront(const ApplicationFile& file, const Opened& opened);
  X11Windows* Windows();

  const bool onX11_;
  std::mutex mutex_;  // guards what follows
  std::unique_ptr<X11Windows> windows_;
  std::map<std::string, Opened> opened_;  // by path
};

}  // namespace quillet::platform::linux_desktop
