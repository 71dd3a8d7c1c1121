#pragma once

#include <string>
#include <vector>

namespace quillet::platform::linux_desktop {

/// The number of a process of this user's that was started by a command, 0 when there is none. A
/// script counts as started by its own name, whatever interpreter runs it. Words behind the
/// command's, such as files to open, do not matter. Reads proc(5).
int FindProcess(const std::vector<std::string>& command);

/// Whether a process is another one or descends from it.
bool IsOrDescendsFrom(int process, int ancestor);

}  // namespace quillet::platform::linux_desktop
