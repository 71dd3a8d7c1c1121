#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"

namespace quillet::platform::linux_desktop {

/// Converts ASCII letters to lower case.
std::string LowerCase(std::string text);

/// Finds and activates windows on an X11 desktop (Extended Window Manager Hints, ICCCM, X resource
/// extension). Uses a separate connection. One thread at a time.
class X11Windows {
 public:
  struct Window {
    std::uint32_t id = 0;
    int pid = 0;                       // process ID; 0 if unknown, as for a remote process
    std::vector<std::string> classes;  // instance and class names (WM_CLASS), in lower case
    bool isNormal = false;             // not a dialog, utility window or similar
    bool isActive = false;             // has focus
  };

  X11Windows();
  ~X11Windows();
  X11Windows(const X11Windows&) = delete;
  X11Windows& operator=(const X11Windows&) = delete;

  bool IsConnected() const;        ///< returns true while the connection to the server works
  std::vector<Window> All();       ///< returns the windows of all applications, topmost first
  std::optional<Window> Active();  ///< returns the window with the focus; faster than All

  /// Asks the window manager to raise and focus a window, and waits for the focus.
  /// @param window  Window::id
  /// @param limit   time-out
  /// @param clock   measures the time-out
  /// @return false if the time-out expired or the connection is broken
  bool Activate(std::uint32_t window, std::chrono::milliseconds limit, Clock& clock);

  /// Reports that a program that opens no window has finished starting. The launcher then stops
  /// showing that the program is starting (freedesktop.org, Startup Notification Protocol).
  /// @param id  value of DESKTOP_STARTUP_ID in the program's environment
  void EndStartup(std::string_view id);

 private:
  class Connection;
  std::unique_ptr<Connection> connection_;
};

}  // namespace quillet::platform::linux_desktop
