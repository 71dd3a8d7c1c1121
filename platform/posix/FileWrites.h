#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace quillet::platform::posix {

/// Writes all bytes to a descriptor. Any thread.
/// @return false after an error, or if the system accepts no bytes; errno is set
bool WriteAll(int file, std::string_view bytes);

/// Waits until a file's data, or a folder's entries, are on the storage device. On macOS, also
/// flushes the drive's cache if the file system supports that (fcntl(2), F_FULLFSYNC). After an
/// error, the descriptor must not be synchronized again: the system reports lost data only once.
/// Any thread.
/// @return false on an error; errno is set
bool SynchronizeFile(int file);

/// Waits until the directory entries of a file and of all folders in its path are on the storage
/// device. Any thread.
/// @param path  absolute path of the file
/// @return false if an entry might not be on the device yet
bool SynchronizeEntries(std::string path);

/// Calls `work` on a separate thread, because it may block until a device responds. Any thread.
/// @param limit  maximum waiting time; `work` continues afterwards
/// @param work   must own all data that it uses
/// @return the result of `work`, or false if `limit` has expired or no thread can be started
bool RunWithLimit(std::chrono::milliseconds limit, std::function<bool()> work);

}  // namespace quillet::platform::posix
