#pragma once

#include <string>

#include "platform/SerialRegistry.h"

namespace quillet::platform::linux_desktop {

/// See SerialRegistry::Inspect. Finds programs of the current user that have the port open, and
/// programs of other users that hold a lock on the port (proc(5)). Any thread.
PortObstacle InspectPort(const std::string& path);

}  // namespace quillet::platform::linux_desktop
