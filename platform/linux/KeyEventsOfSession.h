#pragma once

#include <memory>

#include "base/SystemLog.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/DesktopSession.h"

namespace quillet::platform::linux_desktop {

/// The key events for a session: by the X test extension where its windows are on an X server, else
/// by a virtual keyboard. Neither takes hold of anything before it is used.
/// @param environment  looks up a variable, as getenv does
/// @param log          outlives what is returned
/// @param clock        outlives what is returned
std::unique_ptr<KeyEvents> MakeKeyEventsOfSession(const Environment& environment, SystemLog& log,
                                                  Clock& clock);

}  // namespace quillet::platform::linux_desktop
