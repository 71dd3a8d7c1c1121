#pragma once

#include <string>

namespace quillet::platform::posix {

/// Returns the absolute path of the user's home folder: $HOME, or else the folder in the user
/// database (getpwuid(3)). Returns an empty string if neither is absolute. Main thread.
std::string HomeFolder();

}  // namespace quillet::platform::posix
