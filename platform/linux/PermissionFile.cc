#include "platform/linux/PermissionFile.h"

#include <cstddef>

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::size_t kLongestToken = 256;  // in bytes

}  // namespace

std::string PermissionFile::Read() const {
  return path_.empty() ? "" : files_.Read(path_, kLongestToken).value_or("");
}

void PermissionFile::Write(const std::string& token) const {
  if (path_.empty()) return;
  if (token.empty()) {
    files_.Remove(path_);
    return;
  }
  files_.CreatePrivateFolder(path_.substr(0, path_.rfind('/')));
  files_.ReplacePrivate(path_, token);
}

}  // namespace quillet::platform::linux_desktop
