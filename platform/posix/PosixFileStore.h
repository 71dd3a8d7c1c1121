#pragma once

#include "platform/FileStore.h"

namespace quillet::platform::posix {

/// Reads and writes files using POSIX calls. Stateless.
class PosixFileStore final : public FileStore {
 public:
  /// Creates folders with mode 0755, restricted by the umask. Accepts a symbolic link to a folder.
  bool CreateFolder(const std::string& path) override;

  /// Follows symbolic links as OpenPlace does. Never blocks. Returns no value for a FIFO, device or
  /// socket, or if memory is insufficient.
  std::optional<std::string> Read(const std::string& path, std::size_t limit) override;

  /// Trusts a file only if this user or root owns the file and its folder, no other user may write
  /// to them, and no other user may rename a folder in the path.
  Checked ReadChecked(const std::string& path, std::size_t limit) override;

  /// Writes the temporary file ".NAME.quillet-XXXXXXXXXXXX" in the same folder and renames it to
  /// `path`. NAME is shortened if necessary. Each X is a random letter or digit.
  ///
  /// If `path` is a regular file, the new file gets its permission bits and, if possible, its
  /// group. Otherwise the mode is 0644, restricted by the umask.
  ///
  /// If the file system refuses to set the group or the permission bits, the new file remains
  /// accessible only to the user.
  ///
  /// If the process is killed, its temporary file may remain. While the file is being written, it
  /// has an advisory lock (flock(2)).
  ///
  /// Fails if the folder is missing or not writable, or if `path` ends with a slash or is a folder.
  /// Also fails if a name is too long, or if the device is full or reports an error. A folder that
  /// is not readable cannot be flushed; see Replaced::synchronized.
  Replaced Replace(const std::string& path, std::string_view contents) override;

  Replaced ReplaceChecked(const std::string& path, std::string_view contents) override;

  /// Follows symbolic links in the folder's path as OpenPlace does. If the last component of `path`
  /// is a link, reads the link's target, but replaces the link.
  Replaced Update(const std::string& path, const Change& change) override;

  /// Calls fsync() on all folders of the path. Ignores a folder if this user can neither read nor
  /// write it, or if its file system has no fsync() for folders. Never ignores the file's folder.
  bool SynchronizeEntries(const std::string& path, std::chrono::milliseconds limit) override;

  /// Writes a temporary file, like Replace, and links it to `path` (linkat(2)). If the file system
  /// does not support links, reserves `path` with an empty file, which the temporary file then
  /// replaces.
  Created CreateNew(const std::string& path, std::string_view contents) override;

  /// Creates folders with mode 0700.
  bool CreatePrivateFolder(const std::string& path) override;

  /// The file has mode 0600 and an advisory lock (flock(2)).
  std::shared_ptr<GrowingFile> OpenGrowing(const std::string& path, bool fresh) override;

  /// The new file has mode 0600.
  Replaced ReplacePrivate(const std::string& path, std::string_view contents) override;

  /// Also returns false on a read-only file system and in an immutable folder. Returns true on a
  /// full disk, because files can still be deleted there.
  bool MayReplace(const std::string& path) override;

  std::vector<Entry> List(const std::string& folder) override;
  bool Exists(const std::string& path) override;
  bool Remove(const std::string& path) override;

  /// Deletes files that are named like Replace's temporary files. Keeps files that are not regular,
  /// belong to another user or cannot be locked.
  std::size_t RemoveUnfinished(const std::string& folder) override;

  bool IsSameFile(const std::string& path, const std::string& other) override;
  std::string Owner(const std::string& path) override;
};

}  // namespace quillet::platform::posix
