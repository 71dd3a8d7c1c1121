#include "platform/posix/FileWrites.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "base/Retry.h"
#include "base/UniqueFd.h"

namespace quillet::platform::posix {
namespace {

// Returns true if the program can write to the folder. Otherwise, it cannot have created files
// there.
bool IsWritable(const std::string& folder) {
  return faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS) == 0;
}

}  // namespace

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = RetryOnSignal([&] { return write(file, bytes.data(), bytes.size()); });
    if (written == 0) errno = EIO;  // write(3p) does not set errno
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// EINTR is not a write error: a signal ended the call early (fsync(2)), so the call is repeated.
bool SynchronizeFile(int file) {
#ifdef F_FULLFSYNC
  // On macOS, fsync() leaves data in the drive's cache (fsync(2)).
  if (RetryOnSignal([&] { return fcntl(file, F_FULLFSYNC); }) == 0) return true;
  // These errors mean that the file system does not support F_FULLFSYNC. Any other error is a
  // failure.
  if (errno != ENOTSUP && errno != ENOTTY && errno != EINVAL) return false;
#endif
  return RetryOnSignal([&] { return fsync(file); }) == 0;
}

// Flushes every folder on the path, because an earlier process may have created some of them
// without flushing them.
bool SynchronizeEntries(std::string path) {
  for (bool containsFile = true; path.size() > 1; containsFile = false) {
    path.resize(std::max<std::size_t>(path.rfind('/'), 1));
    // Nothing is read or written here, so following other users' links is safe.
    const UniqueFd folder(
        RetryOnSignal([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (folder.IsOpen() && SynchronizeFile(folder.Get())) continue;
    // EINVAL means that the file system cannot flush folders (fsync(2)). For example, autofs does
    // not store its folders on a disk.
    const bool hasNoEntries =
        folder.IsOpen() ? errno == EINVAL : errno == EACCES && !IsWritable(path);
    if (containsFile || !hasNoEntries) return false;
  }
  return true;
}

bool RunWithLimit(std::chrono::milliseconds limit, std::function<bool()> work) try {
  std::promise<bool> promise;
  std::future<bool> result = promise.get_future();
  std::thread([work = std::move(work), done = std::move(promise)]() mutable {
    const bool succeeded = work();
    work = nullptr;  // destroys the captures of `work` before the caller continues
    done.set_value(succeeded);
  }).detach();
  return result.wait_for(limit) == std::future_status::ready && result.get();
} catch (const std::system_error&) {
  return false;
}

}  // namespace quillet::platform::posix
