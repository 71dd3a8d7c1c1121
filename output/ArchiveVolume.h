#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "output/ArchiveFolder.h"
#include "output/FlushList.h"
#include "platform/FileStore.h"

namespace quillet {

/// The two files of the archive that receive the next records: NAME.records and NAME.txt. For use
/// by one thread at a time.
class ArchiveVolume {
 public:
  /// Closes the current files, if any, then opens or creates two files.
  /// @param files   opens the files
  /// @param folder  the archive folder; created if necessary
  /// @param name    file name without the extension
  /// @param size    0: creates the files; else: opens existing files with this total size in bytes
  /// @param time    local time, written to NAME.records
  /// @return false after an error. The volume is then empty, and no new files exist.
  bool Open(platform::FileStore& files, ArchiveFolder& folder, const std::string& name,
            std::uint64_t size, const std::string& time);
  /// Returns true if the volume has files.
  bool IsOpen() const { return files_.records != nullptr; }
  /// Returns true if the volume has files and no operation on them has failed.
  bool IsUsable() const;

  /// Appends an entry to NAME.records.
  /// @return false after an error or if the volume is empty
  bool Append(std::string_view entry);
  /// Appends a unit to NAME.records. First appends the header if it differs from the last header.
  /// @param header  scanner and settings of the unit
  /// @param entry   the unit
  /// @param unit    number of the unit
  /// @return false after an error
  bool AppendUnit(const std::string& header, std::string_view entry, std::int64_t unit);
  /// Appends composed lines to NAME.txt.
  /// @return false after an error or if the volume is empty
  bool AppendLines(std::string_view lines);

  const FlushList::Files& files() const { return files_; }  ///< the two files and their common name
  const std::string& Name() const { return files_.name; }   ///< file name without the extension
  std::uint64_t size() const { return size_; }              ///< total size of the files in bytes
  std::int64_t firstUnit() const { return firstUnit_; }     ///< first unit appended; 0 if none

 private:
  FlushList::Files files_;
  std::string header_;  // the last header written
  std::uint64_t size_ = 0;
  std::int64_t firstUnit_ = 0;
};

}  // namespace quillet
