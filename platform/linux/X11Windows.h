#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"

namespace quillet::platform::linux_desktop {

/// The windows of an X11 desktop, as its window manager lists them (Extended Window Manager Hints,
/// ICCCM, X resource extension), on a connection of this object. A server that ends does not end
/// the process. One thread at a time.
class X11Windows {
 public:
  struct Window {
    std::uint32_t id = 0;
    int pid = 0;                       // 0 when it is not known, as with another computer's
    std::vector<std::string> classes;  // its instance's name and its class, in lower case
    bool isNormal = false;             // rather than a dialog, a palette or the like
    bool isActive = false;             // it has the focus
  };

  X11Windows();
  ~X11Windows();
  X11Windows(const X11Windows&) = delete;
  X11Windows& operator=(const X11Windows&) = delete;

  /// Whether there is a server, still.
  bool IsConnected() const;

  /// All applications' windows, the topmost first.
  std::vector<Window> All();

  /// The window with the focus, if any has it. Costs less than All.
  std::optional<Window> Active();

  /// Asks the window manager to bring a window to the front and to give it the focus, and waits
  /// until that has happened.
  /// @return whether it has, within the limit
  bool Activate(std::uint32_t window, std::chrono::milliseconds limit, Clock& clock);

 private:
  class Connection;
  std::unique_ptr<Connection> connection_;
};

}  // namespace quillet::platform::linux_desktop
