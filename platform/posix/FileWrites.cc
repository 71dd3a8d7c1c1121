#include "platform/posix/FileWrites.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "base/Retry.h"

namespace quillet::platform::posix {

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = RetryOnSignal([&] { return write(file, bytes.data(), bytes.size()); });
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool SynchronizeFile(int file) {
#ifdef F_FULLFSYNC
  // On macOS, fsync() leaves data in the drive's cache (fsync(2)). Some file systems do not support
  // F_FULLFSYNC.
  if (fcntl(file, F_FULLFSYNC) == 0) return true;
#endif
  return RetryOnSignal([&] { return fsync(file); }) == 0;
}

bool SynchronizeFolder(int folder) {
  // fsync(2): EINVAL and EROFS mean that the file system cannot synchronize folders.
  return SynchronizeFile(folder) || errno == EINVAL || errno == EROFS;
}

}  // namespace quillet::platform::posix
