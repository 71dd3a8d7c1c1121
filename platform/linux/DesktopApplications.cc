#include "platform/linux/DesktopApplications.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/RunningProcesses.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// A process that ends sooner has told another one to open the window, or has failed.
constexpr auto kShortestLife = 10s;

// For how long nothing is started again behind such a process.
constexpr auto kHandedOver = 1min;

// What a window manager gets to give a window the focus.
constexpr auto kFocusLimit = 300ms;

// By its number: the C library of Debian 12 knows the call, that of older systems does not.
int OpenProcess(int pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

bool HasEnded(const posix::Descriptor& process) {
  pollfd ended{process.Number(), POLLIN, 0};
  return poll(&ended, 1, 0) != 0;
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
  opened.pid = 0;
  opened.alive.reset();
  opened.handedOver.reset();
  opened.start = Clock::now();
  const bool started = file.Start([&opened](int pid) {
    opened.pid = pid;
    opened.alive.emplace(OpenProcess(pid));
  });
  // What another process has started has no number here.
  if (started && (!opened.alive || !opened.alive->IsOpen())) opened.handedOver = opened.start;
  return started;
}

bool DesktopApplications::IsRunning(const ApplicationFile& file, Opened& opened) {
  const auto now = Clock::now();
  if (opened.alive && opened.alive->IsOpen()) {
    if (!HasEnded(*opened.alive)) return true;
    if (now - opened.start < kShortestLife) opened.handedOver = now;
  }
  opened.alive.reset();
  opened.pid = FindProcess(file.command());
  if (opened.pid != 0) {
    // Found, not started: when it ends, it has not handed over.
    opened.alive.emplace(OpenProcess(opened.pid));
    opened.start = {};
    return true;
  }
  if (WindowOf(file, opened)) return true;
  if (!opened.handedOver || now - *opened.handedOver > kHandedOver) {
    opened.handedOver.reset();
    return false;
  }
  opened.handedOver = now;
  return true;
}

std::optional<X11Windows::Window> DesktopApplications::WindowOf(const ApplicationFile& file,
                                                                const Opened& opened) {
  X11Windows* const windows = Windows();
  if (windows == nullptr) return std::nullopt;
  const auto is_the_process_own = [&](const X11Windows::Window& window) {
    return opened.pid != 0 && window.pid != 0 && IsOrDescendsFrom(window.pid, opened.pid);
  };
  const auto is_of_its_class = [&](const X11Windows::Window& window) {
    const auto& classes = file.windowClasses();
    return std::find_first_of(window.classes.begin(), window.classes.end(), classes.begin(),
                              classes.end()) != window.classes.end();
  };
  const auto all = windows->All();
  auto found = std::find_if(all.begin(), all.end(), is_the_process_own);
  if (found == all.end()) found = std::find_if(all.begin(), all.end(), is_of_its_class);
  if (found == all.end()) return std::nullopt;
  return *found;
}

void DesktopApplications::BringToFront(const ApplicationFile& file, const Opened& opened) {
  const auto window = WindowOf(file, opened);
  if (window && windows_->Active() != window->id) windows_->Activate(window->id, kFocusLimit);
}

/// The connection to the X server; made anew when the server has gone. Null where there is none.
X11Windows* DesktopApplications::Windows() {
  if (!onX11_) return nullptr;
  if (!windows_ || !windows_->IsConnected()) windows_ = std::make_unique<X11Windows>();
  return windows_->IsConnected() ? windows_.get() : nullptr;
}

}  // namespace quillet::platform::linux_desktop
