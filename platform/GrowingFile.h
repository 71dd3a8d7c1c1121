#pragma once

#include <chrono>
#include <string_view>

namespace quillet::platform {

/// A private file that only grows. While it is open, no other process can open it as a GrowingFile.
/// Any thread may call any function.
class GrowingFile {
 public:
  virtual ~GrowingFile() = default;

  /// Appends bytes. They survive the end of the process, but not necessarily a power failure.
  /// @return false if not all bytes were written. All later calls then fail too.
  virtual bool Append(std::string_view bytes) = 0;

  /// Waits until all bytes appended before the call, and the directory entries of the file and its
  /// folders, are on the storage device.
  /// @param limit  maximum waiting time
  /// @return false after an error, if `limit` has expired, or if the file has been removed. All
  ///         later calls then fail too, because the system reports a lost write only once.
  virtual bool Synchronize(std::chrono::milliseconds limit) = 0;
};

}  // namespace quillet::platform
