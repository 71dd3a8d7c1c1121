#include "platform/posix/PosixGrowingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/Retry.h"
#include "platform/posix/FileWrites.h"

namespace quillet::platform::posix {
namespace {

// Also succeeds on file systems that do not support locks, such as some network file systems.
bool LockGrowingFile(int descriptor) {
  return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

}  // namespace

std::shared_ptr<GrowingFile> PosixGrowingFile::Open(const std::string& path, bool fresh) {
  const int creation = fresh ? O_CREAT | O_EXCL : 0;
  auto file = std::make_shared<File>();
  file->path = path;
  file->descriptor = UniqueFd(RetryOnSignal([&] {
    return open(path.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | creation,
                S_IRUSR | S_IWUSR);
  }));
  struct stat status {};
  if (!file->descriptor.IsOpen() || fstat(file->descriptor.Get(), &status) != 0 ||
      !S_ISREG(status.st_mode) || !LockGrowingFile(file->descriptor.Get())) {
    if (fresh && file->descriptor.IsOpen()) unlink(path.c_str());
    return nullptr;
  }
  return std::shared_ptr<GrowingFile>(new PosixGrowingFile(std::move(file)));
}

bool PosixGrowingFile::Append(std::string_view bytes) {
  if (!file_->failed && !WriteAll(file_->descriptor.Get(), bytes)) file_->failed = true;
  return !file_->failed;
}

// Fails if the file has been removed, because the contents of a removed file are lost when the file
// is closed.
bool PosixGrowingFile::SynchronizeNow(File& file) {
  if (file.failed || !SynchronizeFile(file.descriptor.Get())) return false;
  struct stat status {};
  if (fstat(file.descriptor.Get(), &status) != 0 || status.st_nlink == 0) return false;
  if (!file.foldersSynchronized) {
    if (!SynchronizeEntries(file.path)) return false;
    file.foldersSynchronized = true;
  }
  return true;
}

bool PosixGrowingFile::Synchronize(std::chrono::milliseconds limit) {
  if (!RunWithLimit(limit, [file = file_] { return SynchronizeNow(*file); })) file_->failed = true;
  return !file_->failed;
}

}  // namespace quillet::platform::posix
