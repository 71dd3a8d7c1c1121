#pragma once

#include <functional>

namespace quillet::platform::linux_desktop {

/// What an environment variable holds, null when it is not set, as getenv(3) has it.
using Environment = std::function<const char*(const char*)>;

/// Whether the session's windows are on an X server, told by the environment. A Wayland session is
/// not one even where an X server is offered besides: that one reaches the windows of X clients
/// only. (WAYLAND_DISPLAY: libwayland; XDG_SESSION_TYPE: pam_systemd(8); DISPLAY: X(7).)
bool IsX11Session(const Environment& environment);

}  // namespace quillet::platform::linux_desktop
