#include "platform/posix/PosixGrowingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "base/Retry.h"
#include "platform/posix/FileWrites.h"

namespace quillet::platform::posix {
namespace {

// Flushes all folders of the path to the disk: they contain the directory entries, and an earlier
// process may have created them without flushing them. Folders of other users that cannot be opened
// are skipped.
bool SynchronizeFolders(std::string path) {
  while (path.size() > 1) {
    path.resize(std::max<std::size_t>(path.rfind('/'), 1));
    const UniqueFd folder(
        RetryOnSignal([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!folder.IsOpen()) {
      struct stat status {};
      const bool denied = errno == EACCES && stat(path.c_str(), &status) == 0;
      if (denied && status.st_uid != geteuid()) continue;
      return false;
    }
    if (!SynchronizeFolder(folder.Get())) return false;
  }
  return true;
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
      !S_ISREG(status.st_mode) || flock(file->descriptor.Get(), LOCK_EX | LOCK_NB) != 0) {
    return nullptr;
  }
  return std::shared_ptr<GrowingFile>(new PosixGrowingFile(std::move(file)));
}

bool PosixGrowingFile::Append(std::string_view bytes) {
  if (!file_->failed && !WriteAll(file_->descriptor.Get(), bytes)) file_->failed = true;
  return !file_->failed;
}

bool PosixGrowingFile::SynchronizeNow(File& file) {
  if (file.failed || !SynchronizeFile(file.descriptor.Get())) return false;
  if (!file.foldersSynchronized) {
    if (!SynchronizeFolders(file.path)) return false;
    file.foldersSynchronized = true;
  }
  return true;
}

bool PosixGrowingFile::Synchronize(std::chrono::milliseconds limit) {
  std::promise<bool> promise;
  std::future<bool> result = promise.get_future();
  try {
    std::thread([file = file_, done = std::move(promise)]() mutable {
      const bool synchronized = SynchronizeNow(*file);
      file.reset();  // releases the lock before the caller continues
      done.set_value(synchronized);
    }).detach();
  } catch (const std::system_error&) {
    file_->failed = true;
    return false;
  }
  if (result.wait_for(limit) != std::future_status::ready || !result.get()) file_->failed = true;
  return !file_->failed;
}

}  // namespace quillet::platform::posix
