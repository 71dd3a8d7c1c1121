#include "platform/linux/DesktopApplications.h"

#include <gio/gdesktopappinfo.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

namespace quillet::platform::linux_desktop {
namespace {

// Removes field codes and unescapes %% (freedesktop.org, Desktop Entry, "The Exec key").
std::string WithoutCodes(std::string_view word) {
  std::string plain;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (word[i] != '%') {
      plain.push_back(word[i]);
    } else if (++i < word.size() && word[i] == '%') {
      plain.push_back('%');
    }
  }
  return plain;
}

std::vector<std::string> CommandOf(GAppInfo* info) {
  std::vector<std::string> command;
  const char* line = g_app_info_get_commandline(info);
  gchar** words = nullptr;
  if (line == nullptr || !g_shell_parse_argv(line, nullptr, &words, nullptr)) return command;
  for (gchar** word = words; *word != nullptr; ++word) {
    std::string plain = WithoutCodes(*word);
    if (!plain.empty()) command.push_back(std::move(plain));
  }
  g_strfreev(words);
  return command;
}

std::shared_ptr<GAppInfo> Owned(void* info) {
  if (info == nullptr) return nullptr;
  return {static_cast<GAppInfo*>(info), [](GAppInfo* owned) { g_object_unref(owned); }};
}

// Runs in the child before exec, so only async-signal-safe calls are allowed (signal-safety(7)).
// In a new session, the application continues to run after this process has ended or its terminal
// has been closed.
void PrepareChild(void*) {
  setsid();
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

void ReportPid(GDesktopAppInfo*, GPid pid, void* started) {
  (*static_cast<const std::function<void(int)>*>(started))(pid);
}

using namespace std::chrono_literals;

// A process that ends within this time may have passed the request on to another process. The
// application then counts as running.
constexpr auto kShortestLife = 10s;
// On X11, such an application counts as running for this long after the last request.
constexpr auto kHandedOver = 1min;
constexpr auto kFocusLimit = 300ms;

// Returns how suitable a window is for activation, or 0 if it does not belong to the application.
// The windows of this process never belong to another application, whatever their class.
int Rank(const X11Windows::Window& window, int process, const std::vector<std::string>& classes) {
  if (window.pid == getpid()) return 0;
  const bool isOfProcess = process != 0 && window.pid != 0 && IsOrDescendsFrom(window.pid, process);
  const bool isOfClass = std::find_first_of(window.classes.begin(), window.classes.end(),
                                            classes.begin(), classes.end()) != window.classes.end();
  if (!isOfProcess && !isOfClass) return 0;
  return 1 + (window.isNormal ? 1 : 0) + (isOfProcess ? 2 : 0);
}

}  // namespace

std::optional<ApplicationFile> ApplicationFile::At(const std::string& path) {
  if (!path.starts_with('/')) return std::nullopt;
  ApplicationFile file;
  if (path.ends_with(".desktop")) {
    file.info_ = Owned(g_desktop_app_info_new_from_filename(path.c_str()));
    if (!file.info_) return std::nullopt;
    file.command_ = CommandOf(file.info_.get());
    const char* named =
        g_desktop_app_info_get_startup_wm_class(G_DESKTOP_APP_INFO(file.info_.get()));
    if (named != nullptr) file.windowClasses_.push_back(LowerCase(named));
    file.windowClasses_.push_back(LowerCase(std::filesystem::path(path).stem()));
    // A command with arguments often starts a program that other applications use too, for example
    // a terminal. A window of that program may therefore belong to another application.
    if (named == nullptr && file.command_.size() == 1) {
      file.windowClasses_.push_back(LowerCase(std::filesystem::path(file.command_[0]).filename()));
    }
  } else if (g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR) && access(path.c_str(), X_OK) == 0) {
    std::string escaped;
    for (const char character : path) escaped.append(character == '%' ? 2 : 1, character);
    const std::unique_ptr<char, decltype(&g_free)> quoted(g_shell_quote(escaped.c_str()), g_free);
    file.info_ = Owned(
        g_app_info_create_from_commandline(quoted.get(), nullptr, G_APP_INFO_CREATE_NONE, nullptr));
    file.command_ = {path};
    file.windowClasses_ = {LowerCase(std::filesystem::path(path).filename())};
  }
  if (!file.info_ || file.command_.empty()) return std::nullopt;
  return file;
}

bool ApplicationFile::Start(const std::function<void(int)>& started) const {
  // In the child, GLib closes all descriptors except the standard ones. GLib also forks twice, so
  // the application is not a child of this process and leaves no zombie.
  constexpr auto kFlags = static_cast<GSpawnFlags>(
      G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
  const std::unique_ptr<GAppLaunchContext, decltype(&g_object_unref)> context(
      g_app_launch_context_new(), g_object_unref);
  return g_desktop_app_info_launch_uris_as_manager(
             G_DESKTOP_APP_INFO(info_.get()), nullptr, context.get(), kFlags, PrepareChild, nullptr,
             ReportPid, const_cast<std::function<void(int)>*>(&started), nullptr) != 0;
}

bool DesktopApplications::HasApplication(const std::string& path) {
  return path.starts_with('/') && access(path.c_str(), F_OK) == 0;
}

bool DesktopApplications::OpenApplication(const std::string& path) {
  const auto file = ApplicationFile::At(path);
  if (!file) return false;
  const std::scoped_lock lock(mutex_);
  Opened& opened = opened_[path];
  if (!IsRunning(*file, opened)) return Start(*file, opened);
  const auto window = WindowOf(*file, opened);
  if (window && !window->isActive) windows_->Activate(window->id, kFocusLimit, clock_);
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
  opened.start = clock_.Now();
  const bool started = file.Start([this, &opened](int pid) {
    opened.pid = pid;
    opened.process = std::make_unique<WatchedProcess>(pid, clock_);
  });
  // If D-Bus starts the application, its process ID is unknown.
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
    opened.process = std::make_unique<WatchedProcess>(opened.pid, clock_);
    return true;
  }
  if (WindowOf(file, opened)) return true;
  const auto now = clock_.Now();
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
  const auto rankOf = [&](const X11Windows::Window& window) {
    return Rank(window, opened.pid, file.windowClasses());
  };
  // If a window of the application already has focus, it keeps focus.
  auto found = windows->Active();
  if (found && rankOf(*found) > 0) return found;
  found.reset();
  int best = 0;
  for (X11Windows::Window& window : windows->All()) {
    const int rank = rankOf(window);
    if (rank <= best) continue;
    best = rank;
    found = std::move(window);
  }
  return found;
}

// Returns the connection to the X server, reopened if necessary, or null if the server cannot be
// reached.
X11Windows* DesktopApplications::Windows() {
  if (!onX11_) return nullptr;
  if (!windows_ || !windows_->IsConnected()) windows_ = std::make_unique<X11Windows>();
  return windows_->IsConnected() ? windows_.get() : nullptr;
}

}  // namespace quillet::platform::linux_desktop
