#include "platform/linux/DesktopSession.h"

#include <chrono>
#include <string>
#include <utility>

#include "platform/linux/SentKeys.h"
#include "platform/linux/WaylandSessionKeys.h"
#include "platform/linux/X11KeyEvents.h"
#include "platform/linux/X11OwnKeys.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// Maximum difference between the time when a key event is written and the event's time stamp.
// Compositors round the kernel's time stamp to milliseconds.
constexpr auto kWaylandDelay = 1ms;

// The same for Xwayland, which sets the time stamp when it receives the event. A busy compositor
// may send the event late.
constexpr auto kXwaylandDelay = 300ms;

std::string ValueOf(const Environment& environment, const char* name) {
  const char* const value = environment(name);
  return value == nullptr ? std::string() : value;
}

// XDG_CURRENT_DESKTOP is a list separated by colons (freedesktop.org, Desktop Entry).
bool HasPortal(const Environment& environment) {
  const std::string desktops = ':' + ValueOf(environment, "XDG_CURRENT_DESKTOP") + ':';
  return desktops.find(":GNOME:") != std::string::npos ||
         desktops.find(":KDE:") != std::string::npos;
}

std::string TokenFile(const Environment& environment) {
  const std::string state = StateFolder(environment, ValueOf(environment, "HOME"));
  return state.empty() ? state : state + "/typing-permission";
}

}  // namespace

// $XDG_STATE_HOME is ignored unless it is absolute (freedesktop.org, XDG Base Directory).
std::string StateFolder(const Environment& environment, const std::string& home) {
  const std::string state = ValueOf(environment, "XDG_STATE_HOME");
  if (state.starts_with('/')) return state + "/quillet";
  return home.starts_with('/') ? home + "/.local/state/quillet" : std::string();
}

bool IsX11Session(const Environment& environment) {
  return ValueOf(environment, "WAYLAND_DISPLAY").empty() &&
         ValueOf(environment, "XDG_SESSION_TYPE") != "wayland" &&
         !ValueOf(environment, "DISPLAY").empty();
}

SessionKeys MakeKeysOfSession(const Environment& environment, SystemLog& log, Clock& clock,
                              FileStore& files, xcb_connection_t* toolkit) {
  if (IsX11Session(environment)) {
    auto own = toolkit == nullptr ? nullptr : std::make_unique<X11OwnKeys>(toolkit);
    auto events = std::make_unique<X11KeyEvents>(log, clock, own ? own->window() : 0);
    return {std::move(own), std::move(events)};
  }
  auto own = std::make_unique<SentKeys>(toolkit == nullptr ? kWaylandDelay : kXwaylandDelay);
  const WaylandSessionKeys::Session session{.hasPortal = HasPortal(environment),
                                            .tokenFile = TokenFile(environment)};
  auto events = std::make_unique<WaylandSessionKeys>(session, log, clock, files, *own);
  return {std::move(own), std::move(events)};
}

}  // namespace quillet::platform::linux_desktop
