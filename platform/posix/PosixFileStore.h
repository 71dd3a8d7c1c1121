#pragma once

#include "platform/FileStore.h"

namespace quillet::platform::posix {

/// Files through the POSIX calls. Holds no state. Descriptors 0 to 2 are never used for a file:
/// another part of the program may close descriptor 0 at any time.
class PosixFileStore final : public FileStore {
 public:
  /// Folders are created with mode 0777 less the process's file mode creation mask. A symbolic
  /// link to a folder counts as a folder.
  bool CreateFolder(const std::string& path) override;

  /// Follows symbolic links. Never waits: a FIFO, a device or a socket gives nothing, as does a
  /// lack of memory.
  std::optional<std::string> Read(const std::string& path, std::size_t limit) override;

  /// Writes ".NAME.quillet-XXXXXXXXXXXX" (NAME cut where the whole would be too long, twelve
  /// random letters and digits) in the same folder, then renames it onto `path`.
  ///
  /// The file keeps the permission bits of a regular file that it replaces; otherwise they are 0666
  /// less the file mode creation mask. The owner is always the user of this process.
  ///
  /// A killed process may leave its temporary file. It is never removed later, because it could
  /// belong to a second process that is writing at this moment.
  ///
  /// @return false, with the file unchanged and the temporary file removed, if the folder is
  /// missing
  ///         or may not be written, the path ends in a slash or is a folder, a name is too long, or
  ///         the device is full or fails.
  bool Replace(const std::string& path, std::string_view contents) override;
};

}  // namespace quillet::platform::posix
