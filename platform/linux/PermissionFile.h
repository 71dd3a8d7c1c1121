#pragma once

#include <string>
#include <utility>

#include "platform/FileStore.h"

namespace quillet::platform::linux_desktop {

/// Stores the permission to type through the remote desktop portal: the portal's restore token,
/// which allows a session to start without asking the user. One thread at a time.
class PermissionFile {
 public:
  /// @param files  accesses the file; must outlive this object
  /// @param path   absolute path; its folder exists or can be created. If empty, no file is used.
  PermissionFile(FileStore& files, std::string path) : files_(files), path_(std::move(path)) {}

  /// Returns the stored token, or an empty string if there is none.
  std::string Read() const;

  /// Stores a token in a file that only the user can read. If that fails, the desktop asks for
  /// permission again at the next start.
  /// @param token  if empty, the file is removed
  void Write(const std::string& token) const;

 private:
  FileStore& files_;
  const std::string path_;
};

}  // namespace quillet::platform::linux_desktop
