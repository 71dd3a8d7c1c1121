#include "platform/posix/HomeFolder.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace quillet::platform::posix {

std::string HomeFolder() {
  const char* folder = std::getenv("HOME");
  if (folder == nullptr || folder[0] != '/') {
    const struct passwd* const user = getpwuid(getuid());
    folder = user == nullptr ? nullptr : user->pw_dir;
  }
  return folder == nullptr || folder[0] != '/' ? "" : folder;
}

}  // namespace quillet::platform::posix
