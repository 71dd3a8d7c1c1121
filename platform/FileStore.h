#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillet::platform {

/// Synchronous file operations. Paths are UTF-8 and absolute. Any thread.
class FileStore {
 public:
  virtual ~FileStore() = default;

  /// Creates a folder and its parents with default permissions.
  /// @return true if the folder exists afterwards, whether or not this call created it
  virtual bool CreateFolder(const std::string& path) = 0;

  /// Reads a regular file from its beginning.
  /// @param path   absolute path of the file
  /// @param limit  maximum number of bytes to read; the rest of the file is ignored
  /// @return the bytes, or no value if the file is missing, not regular or not readable
  virtual std::optional<std::string> Read(const std::string& path, std::size_t limit) = 0;

  /// Creates or replaces a file atomically: if the process is killed, the file has either its old
  /// or its new contents. A symbolic link at `path` is replaced, not followed.
  /// @return true if the file was replaced and its contents synchronized with the storage device;
  ///         false if the file is unchanged
  virtual bool Replace(const std::string& path, std::string_view contents) = 0;
};

}  // namespace quillet::platform
