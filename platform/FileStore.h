#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillet::platform {

/// The few file operations that the program needs. Paths are UTF-8, absolute. All calls are
/// synchronous and may be made from any thread.
class FileStore {
 public:
  virtual ~FileStore() = default;

  /// Creates a folder and the folders above it with default permissions.
  /// @return true when the folder exists afterwards (also when it existed before), false when
  ///         something that is not a folder stands there or the system refused.
  virtual bool CreateFolder(const std::string& path) = 0;

  /// Reads a regular file from its beginning.
  /// @param path   absolute path of the file
  /// @param limit  the most bytes to read; the rest of a longer file is left out.
  /// @return the bytes, or nothing when there is no such file, it is not a regular file, or it
  ///         cannot be read.
  virtual std::optional<std::string> Read(const std::string& path, std::size_t limit) = 0;

  /// Replaces a file, or creates it, as a whole: a process that is killed at any instant leaves
  /// either the old file or the new one, never a part. A symbolic link at `path` is itself
  /// replaced and never followed.
  /// @return true when the file was replaced, by contents that had been synchronized with the
  ///         storage device; false when nothing changed.
  virtual bool Replace(const std::string& path, std::string_view contents) = 0;
};

}  // namespace quillet::platform
