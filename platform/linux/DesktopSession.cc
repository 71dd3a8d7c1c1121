#include "platform/linux/DesktopSession.h"

#include <string_view>

#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/X11KeyEvents.h"

namespace quillet::platform::linux_desktop {

bool IsX11Session(const Environment& environment) {
  const auto valueOf = [&](const char* name) {
    const char* value = environment(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
  };
  return valueOf("WAYLAND_DISPLAY").empty() && valueOf("XDG_SESSION_TYPE") != "wayland" &&
         !valueOf("DISPLAY").empty();
}

std::unique_ptr<KeyEvents> MakeKeyEventsOfSession(const Environment& environment, SystemLog& log,
                                                  Clock& clock) {
  if (IsX11Session(environment)) return std::make_unique<X11KeyEvents>(log);
  return std::make_unique<UinputKeyEvents>(log, clock);
}

}  // namespace quillet::platform::linux_desktop
