#pragma once

#include <functional>
#include <memory>

#include "base/SystemLog.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"

namespace quillet::platform::linux_desktop {

/// What an environment variable holds, null when it is not set, as getenv(3) has it.
using Environment = std::function<const char*(const char*)>;

/// Whether the session's windows are on an X server, told by the environment. A Wayland session is
/// not one even where an X server is offered besides: that one reaches the windows of X clients
/// only. (WAYLAND_DISPLAY: libwayland; XDG_SESSION_TYPE: pam_systemd(8); DISPLAY: X(7).)
bool IsX11Session(const Environment& environment);

/// The key events for a session: by the X test extension where its windows are on an X server, else
/// by a virtual keyboard. Neither takes hold of anything before it is used.
/// @param environment  looks up a variable, as getenv does
/// @param log          outlives what is returned
/// @param clock        outlives what is returned
std::unique_ptr<KeyEvents> MakeKeyEventsOfSession(const Environment& environment, SystemLog& log,
                                                  Clock& clock);

}  // namespace quillet::platform::linux_desktop
