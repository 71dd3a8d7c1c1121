#pragma once

namespace quillet::platform {

/// Result of replacing a file.
struct Replaced {
  int error = 0;  ///< 0, or the error number (errno(3)) of the operation that failed
  /// True if the contents and the directory entry are on the storage device. If this is false and
  /// there was no error, the system cannot flush the folder.
  bool synchronized = false;
  explicit operator bool() const { return error == 0; }  ///< true if there was no error
};

}  // namespace quillet::platform
