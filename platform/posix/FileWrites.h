#pragma once

#include <string_view>

namespace quillet::platform::posix {

/// Writes all bytes to a descriptor. Any thread.
/// @return false after an error, or if the system accepts no bytes
bool WriteAll(int file, std::string_view bytes);

/// Waits until a file's data is on the storage device. On macOS, also flushes the drive's cache if
/// the file system supports that (fcntl(2), F_FULLFSYNC). Any thread.
/// @return false on an error; errno is set
bool SynchronizeFile(int file);

/// Like SynchronizeFile, for a folder. Succeeds if the file system cannot synchronize folders. Any
/// thread.
bool SynchronizeFolder(int folder);

}  // namespace quillet::platform::posix
