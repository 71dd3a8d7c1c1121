#include "platform/linux/DesktopSession.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "platform/linux/SentKeys.h"
#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/X11KeyEvents.h"
#include "platform/linux/X11OwnKeys.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// A compositor passes the time that the kernel put on an event, rounded to milliseconds.
constexpr auto kWaylandDelay = 1ms;

// Xwayland puts the current time on an event when it arrives. The compositor may be busy.
constexpr auto kXwaylandDelay = 300ms;

}  // namespace

bool IsX11Session(const Environment& environment) {
  const auto valueOf = [&](const char* name) {
    const char* value = environment(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
  };
  return valueOf("WAYLAND_DISPLAY").empty() && valueOf("XDG_SESSION_TYPE") != "wayland" &&
         !valueOf("DISPLAY").empty();
}

SessionKeys MakeKeysOfSession(const Environment& environment, SystemLog& log, Clock& clock,
                              xcb_connection_t* toolkit) {
  if (IsX11Session(environment)) {
    auto own = toolkit == nullptr ? nullptr : std::make_unique<X11OwnKeys>(toolkit);
    auto events = std::make_unique<X11KeyEvents>(log, own ? own->window() : 0);
    return {std::move(own), std::move(events)};
  }
  auto own = std::make_unique<SentKeys>(toolkit == nullptr ? kWaylandDelay : kXwaylandDelay);
  auto events = std::make_unique<UinputKeyEvents>(log, clock, *own);
  return {std::move(own), std::move(events)};
}

}  // namespace quillet::platform::linux_desktop
