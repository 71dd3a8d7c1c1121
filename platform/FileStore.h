#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/CheckedFiles.h"
#include "platform/PrivateFiles.h"
#include "platform/Replaced.h"

namespace quillet::platform {

/// Synchronous file operations. Paths are UTF-8 and absolute. Any thread.
class FileStore : public CheckedFiles, public PrivateFiles {
 public:
  /// Creates a folder and its parents with default permissions.
  /// @return true if the folder exists afterwards, whether or not this call created it
  virtual bool CreateFolder(const std::string& path) = 0;

  /// Reads a regular file from its beginning.
  /// @param path   absolute path of the file
  /// @param limit  maximum number of bytes to read; the rest of the file is ignored
  /// @return the bytes, or no value if the file is missing, not regular or not readable
  virtual std::optional<std::string> Read(const std::string& path, std::size_t limit) = 0;

  /// Creates or replaces a file atomically: if the process is killed, the file has either its old
  /// or its new contents. A symbolic link at `path` is replaced, not followed. After an error, the
  /// file is unchanged, or it was replaced but a power failure may undo the replacement.
  virtual Replaced Replace(const std::string& path, std::string_view contents) = 0;

  /// Returns the new contents of a file.
  /// @param old  the existing contents, or an empty string if the file does not exist
  using Change = std::function<std::string(std::string_view old)>;

  /// Reads a file, then replaces it as Replace does. Both steps use the same folder, even if the
  /// folder's path changes in between. The new file has at most the permissions of the file that
  /// was read. A file that exists but cannot be read is kept.
  virtual Replaced Update(const std::string& path, const Change& change) = 0;

  /// Waits until the directory entries of a file and of all folders in its path are on the storage
  /// device.
  /// @param path   absolute path of the file
  /// @param limit  maximum waiting time
  /// @return false if `limit` has expired or an entry may not be on the device
  virtual bool SynchronizeEntries(const std::string& path, std::chrono::milliseconds limit) = 0;

  /// Result of CreateNew.
  enum class Created {
    kYes,     ///< the file was created and synchronized with the storage device
    kExists,  ///< a file, folder or link with this name already exists
    kFailed,  ///< the file was not created, or it was created but a power failure may remove it
  };

  /// Creates a file atomically. Never replaces a file, even if another process creates one at the
  /// same time.
  virtual Created CreateNew(const std::string& path, std::string_view contents) = 0;

  /// A regular file in a folder.
  struct Entry {
    std::string name;         ///< name without the folder
    std::uint64_t bytes = 0;  ///< file size
  };

  /// Returns the regular files of a folder in ascending order of their names. Returns no files if
  /// the folder cannot be read.
  virtual std::vector<Entry> List(const std::string& folder) = 0;

  /// Returns true if a file, a folder or a symbolic link exists at `path`.
  virtual bool Exists(const std::string& path) = 0;

  /// Deletes a file.
  /// @return true if the file existed and was deleted
  virtual bool Remove(const std::string& path) = 0;

  /// Deletes the temporary files that Replace left in a folder because its process was killed.
  /// Keeps files that belong to other users or are still being written.
  /// @return the number of deleted files
  virtual std::size_t RemoveUnfinished(const std::string& folder) = 0;

  /// Returns true if both paths name the same file, directly or through symbolic links, hard links,
  /// ".." or repeated slashes. The file need not exist.
  virtual bool IsSameFile(const std::string& path, const std::string& other) = 0;
};

}  // namespace quillet::platform
