#include "platform/linux/DesktopSession.h"

#include <string_view>

namespace quillet::platform::linux_desktop {

bool IsX11Session(const Environment& environment) {
  const auto value_of = [&](const char* name) {
    const char* value = environment(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
  };
  return value_of("WAYLAND_DISPLAY").empty() && value_of("XDG_SESSION_TYPE") != "wayland" &&
         !value_of("DISPLAY").empty();
}

}  // namespace quillet::platform::linux_desktop
