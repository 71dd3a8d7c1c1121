#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/GrowingFile.h"
#include "platform/Replaced.h"

namespace quillet::platform {

/// Creates, opens and replaces files that only the user can access. Paths are UTF-8 and absolute.
/// Any thread.
class PrivateFiles {
 public:
  virtual ~PrivateFiles() = default;

  /// Creates a folder for private files, and its parents, accessible only to the user.
  /// @return true if the folder exists afterwards
  virtual bool CreatePrivateFolder(const std::string& path) = 0;

  /// Creates a file that only the user can read and write, or opens an existing one.
  /// @param path   absolute path of the file
  /// @param fresh  true: the file must not exist; false: the file must exist
  /// @return null on error, or if the file is a symbolic link or is open in another process
  virtual std::shared_ptr<GrowingFile> OpenGrowing(const std::string& path, bool fresh) = 0;

  /// Like FileStore::Replace, but only the user can read and write the file.
  /// Also works on file systems that do not support locks.
  virtual Replaced ReplacePrivate(const std::string& path, std::string_view contents) = 0;

  /// Returns true if the user may create, replace and delete files in the folder of `path`.
  virtual bool MayReplace(const std::string& path) = 0;
};

}  // namespace quillet::platform
