#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Applications.h"
#include "platform/linux/ApplicationFile.h"
#include "platform/linux/WatchedProcess.h"
#include "platform/linux/X11Windows.h"

namespace quillet::platform::linux_desktop {

/// The applications of a Linux desktop. A path names an executable file or a desktop entry
/// (a .desktop file), which GIO reads and starts.
///
/// An application runs when one of these is there: the process that was started for it; another
/// process with its command line; on X11, a window of the process's or its descendants', or one
/// with its class. A class that is the file's name is taken as proof, too.
///
/// Where a process that was started has ended within ten seconds, it has only handed over to
/// another one, of which none of these may be found, or it has failed. Starting it again for every
/// record would open a thousand windows. Where windows can be seen, the application then counts as
/// running for a minute after its end and after each time it was asked for; where they cannot,
/// always, since nothing would ever tell that it runs.
///
/// Started applications get no descriptor but /dev/null, a session of their own, so that they
/// outlive this process and the terminal that it was started from, and no parent that would have to
/// wait for them.
///
/// Any thread; calls take turns.
class DesktopApplications final : public Applications {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param onX11  whether windows are looked for and brought to the front by way of the X server.
  ///               On Wayland no program may do that with another one's window.
  /// @param now    gives the time, on any thread
  explicit DesktopApplications(bool onX11, std::function<Clock::time_point()> now = Clock::now)
      : onX11_(onX11), now_(std::move(now)) {}

  bool HasApplication(const std::string& path) override;

  /// A window of the application's that has the focus keeps it; else the topmost one gets it,
  /// rather a normal window than a palette or a dialog. Waits at most 0.3 seconds for it to come to
  /// the front.
  bool OpenApplication(const std::string& path) override;

  std::vector<std::string> LaunchedApplications() override;

 private:
  // What is known of an application that was opened.
  struct Opened {
    int pid = 0;                                  // of the process that was started or found; or 0
    std::unique_ptr<WatchedProcess> process;      // that one
    std::optional<Clock::time_point> start;       // of a process that was started
    std::optional<Clock::time_point> handedOver;  // renewed when it is asked for
  };

  bool Start(const ApplicationFile& file, Opened& opened);
  bool IsRunning(const ApplicationFile& file, Opened& opened);
  std::optional<X11Windows::Window> WindowOf(const ApplicationFile& file, const Opened& opened);
  void BringToFront(const ApplicationFile& file, const Opened& opened);
  X11Windows* Windows();

  const bool onX11_;
  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;  // guards what follows
  std::unique_ptr<X11Windows> windows_;
  std::map<std::string, Opened> opened_;  // by path
};

}  // namespace quillet::platform::linux_desktop
