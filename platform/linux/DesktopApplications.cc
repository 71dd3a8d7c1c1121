#include "platform/linux/DesktopApplications.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/linux/RunningProcesses.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// A process that ends sooner has told another one to open the window, or has failed.
constexpr auto kShortestLife = 10s;

// For how long nothing is started again behind such a process, where windows tell what runs.
constexpr auto kHandedOver = 1min;

// What a window manager gets to give a window the focus.
constexpr auto kFocusLimit = 300ms;

bool IsOfProcess(const X11Windows::Window& window, int process) {
  return process != 0 && window.pid != 0 && IsOrDescendsFrom(window.pid, process);
}

bool IsOfClass(const X11Windows::Window& window, const std::vector<std::string>& classes) {
  return std::find_first_of(window.classes.begin(), window.classes.end(), classes.begin(),
                            classes.end()) != window.classes.end();
}

// How well a window stands for an application; 0 when it is none of the application's. This
// program's own are none, whatever they are called and whoever has started it.
int Rank(const X11Windows::Window& window, int process, const std::vector<std::string>& classes) {
  if (window.pid == getpid()) return 0;
  const bool is_of_process = IsOfProcess(window, process);
  if (!is_of_process && !IsOfClass(window, classes)) return 0;
  return 1 + (window.isNormal ? 1 : 0) + (is_of_process ? 2 : 0);
}

}  // namespace

bool DesktopApplications::HasApplication(const std::string& path) {
  struct stat status {};
  return path.starts_with('/') && stat(path.c_str(), &status) == 0;
}

bool DesktopApplications::OpenApplication(const std::string& path) {
  const auto file = ApplicationFile::At(path);
  if (!file) return false;
  const std::scoped_lock lock(mutex_);
  Opened& opened = opened_[path];
  if (!IsRunning(*file, opened)) return Start(*file, opened);
  BringToFront(*file, opened);
  return true;
}

std::vector<std::string> DesktopApplications::LaunchedApplications() {
  const std::scoped_lock lock(mutex_);
  std::vector<std::string> running;
  for (auto& [path, opened] : opened_) {
    const auto file = ApplicationFile::At(path);
    if (file && IsRunning(*file, opened)) running.push_back(path);
  }
  return running;
}

bool DesktopApplications::Start(const ApplicationFile& file, Opened& opened) {
  opened = {};
  opened.start = now_();
  const bool started = file.Start([this, &opened](int pid) {
    opened.pid = pid;
    opened.process = std::make_unique<WatchedProcess>(pid, now_);
  });
  // What another process has started has no number here.
  if (started && (!opened.process || !opened.process->IsKnown())) opened.handedOver = opened.start;
  return started;
}

bool DesktopApplications::IsRunning(const ApplicationFile& file, Opened& opened) {
  if (opened.process && opened.process->IsKnown()) {
    const auto end = opened.process->End();
    if (!end) return true;
    if (opened.start && *end - *opened.start < kShortestLife) opened.handedOver = end;
  }
  opened.process.reset();
  opened.start.reset();
  opened.pid = FindProcess(file.command());
  if (opened.pid != 0) {
    opened.process = std::make_unique<WatchedProcess>(opened.pid, now_);
    return true;
  }
  if (WindowOf(file, opened)) return true;
  const auto now = now_();
  if (opened.handedOver && Windows() != nullptr && now - *opened.handedOver > kHandedOver) {
    opened.handedOver.reset();
  }
  if (!opened.handedOver) return false;
  opened.handedOver = now;
  return true;
}

std::optional<X11Windows::Window> DesktopApplications::WindowOf(const ApplicationFile& file,
                                                                const Opened& opened) {
  X11Windows* const windows = Windows();
  if (windows == nullptr) return std::nullopt;
  const auto rank_of = [&](const X11Windows::Window& window) {
    return Rank(window, opened.pid, file.windowClasses());
  };
  // Whichever of them has the focus, the user wants it to have the focus.
  auto found = windows->Active();
  if (found && rank_of(*found) > 0) return found;
  found.reset();
  int best = 0;
  for (X11Windows::Window& window : windows->All()) {
    const int rank = rank_of(window);
    if (rank <= best) continue;
    best = rank;
    found = std::move(window);
  }
  return found;
}

void DesktopApplications::BringToFront(const ApplicationFile& file, const Opened& opened) {
  const auto window = WindowOf(file, opened);
  if (window && !window->isActive) windows_->Activate(window->id, kFocusLimit);
}

// The connection to the X server; made anew when the server has gone. Null where there is none.
X11Windows* DesktopApplications::Windows() {
  if (!onX11_) return nullptr;
  if (!windows_ || !windows_->IsConnected()) windows_ = std::make_unique<X11Windows>();
  return windows_->IsConnected() ? windows_.get() : nullptr;
}

}  // namespace quillet::platform::linux_desktop
