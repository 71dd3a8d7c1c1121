#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Replaced.h"

namespace quillet::platform {

/// Error number for a file that is not regular. File operations never set errno(3) to this value.
inline constexpr int kNotRegular = ENOTBLK;

/// The users who could have written a file. "This user" is the user who runs this process.
enum class Custody {
  kTrusted,  ///< this user or root owns the file and its folder; no other user may write to them
  kForeign,  ///< other users could have written it as well
};

/// Result of CheckedFiles::ReadChecked.
struct Checked {
  std::optional<std::string> contents = {};  ///< the bytes, or no value after an error
  Custody custody = Custody::kForeign;       ///< who could have written the contents
  std::string owner = {};  ///< kForeign: the other user's name; empty if there may be several
  bool ownFile = false;    ///< true if the file belongs to this user or root
  int error = 0;           ///< 0, or the error number (errno(3)); ELOOP: the file is a link;
                           ///< EISDIR or kNotRegular: the file is not a regular file
};

/// Safely reads and replaces files that control this program, even in folders that other users can
/// write to. Paths are UTF-8 and absolute. Any thread.
class CheckedFiles {
 public:
  virtual ~CheckedFiles() = default;

  /// Reads a regular file that controls this program, and checks who could have written it. Does
  /// not follow a symbolic link at `path`.
  ///
  /// If this user owns the folder, removes other users' permission to write to the folder. If all
  /// users had this permission, this call reports kForeign. Shared folders keep their permissions.
  /// These are folders owned by root, and folders where all users may create files but may remove
  /// only their own (mode 1777).
  /// @param path   absolute path of the file
  /// @param limit  maximum number of bytes to read; the rest of the file is ignored
  virtual Checked ReadChecked(const std::string& path, std::size_t limit) = 0;

  /// Like FileStore::Replace, for a file that affects what this program does. Fails if `path` is a
  /// symbolic link (ELOOP), a folder (EISDIR) or any other file that is not regular (kNotRegular).
  virtual Replaced ReplaceChecked(const std::string& path, std::string_view contents) = 0;

  /// Returns the name of the user who owns a file or a symbolic link. If the file does not exist or
  /// belongs to this user, returns the name of its folder's owner. Returns an empty string if the
  /// owner is unknown.
  virtual std::string Owner(const std::string& path) = 0;
};

}  // namespace quillet::platform
