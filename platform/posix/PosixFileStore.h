#pragma once

#include "platform/FileStore.h"

namespace quillet::platform::posix {

/// Files through the POSIX calls. Holds no state; every call may be made from any thread.
///
/// None of the descriptors opened here is ever 0, 1 or 2: another part of the program may close
/// descriptor 0 at any time, and must not hit a file with it.
class PosixFileStore final : public FileStore {
 public:
  /// Folders are created with mode 0777 less the process's file mode creation mask. A symbolic
  /// link to a folder counts as a folder.
  bool CreateFolder(const std::string& path) override;

  /// Follows symbolic links. Never waits: a FIFO, a device or a socket is not a regular file and
  /// gives nothing.
  /// @param path   absolute
  /// @param limit  in bytes
  /// @return nothing also when memory for the contents is lacking
  std::optional<std::string> Read(const std::string& path, std::size_t limit) override;

  /// Writes ".NAME.quillet-XXXXXXXXXXXX" (NAME cut where the whole would be too long, twelve
  /// random letters and digits) in the same folder, then renames it onto `path`.
  ///
  /// A regular file that is replaced hands its permission bits on; otherwise they are 0666 less
  /// the process's file mode creation mask. The owner is always the user of this process.
  ///
  /// A process that is killed may leave its temporary file behind. It is never taken away later:
  /// it could just as well belong to a second process that is writing at this moment.
  ///
  /// @return false, with the file at `path` as it was and the temporary file removed, when the
  ///         folder is missing or may not be written, the path ends in a slash or is a folder, a
  ///         name is too long, or the device is full or fails.
  bool Replace(const std::string& path, std::string_view contents) override;
};

}  // namespace quillet::platform::posix
