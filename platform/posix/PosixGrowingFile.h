#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "base/UniqueFd.h"
#include "platform/GrowingFile.h"

namespace quillet::platform::posix {

/// A file opened with O_APPEND and locked with flock(2).
class PosixGrowingFile final : public GrowingFile {
 public:
  /// Opens a file; see FileStore::OpenGrowing.
  static std::shared_ptr<GrowingFile> Open(const std::string& path, bool fresh);

  bool Append(std::string_view bytes) override;

  /// Calls fsync() on the file and its folders on a separate thread, since fsync() can block for as
  /// long as the device does not respond.
  bool Synchronize(std::chrono::milliseconds limit) override;

 private:
  struct File {
    std::string path;
    UniqueFd descriptor;
    std::atomic<bool> failed{false};
    std::atomic<bool> foldersSynchronized{false};
  };

  explicit PosixGrowingFile(std::shared_ptr<File> file) : file_(std::move(file)) {}
  static bool SynchronizeNow(File& file);

  // Shared with the threads that call fsync(). They may outlive this object.
  const std::shared_ptr<File> file_;
};

}  // namespace quillet::platform::posix
