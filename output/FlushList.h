#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "platform/GrowingFile.h"

namespace quillet {

/// The files of the archive that must be on the disk before the scanner is erased. Any thread. No
/// lock is held while files are flushed.
class FlushList {
 public:
  static constexpr std::size_t kMaximumDays = 8;  ///< maximum number of kDay entries

  /// The kind of records in the files.
  enum class Use : std::size_t {
    kRun,  ///< the records of a run
    kDay,  ///< the live scans of a day
  };

  /// Two files whose names differ only in the extension.
  struct Files {
    std::string name;                                     ///< name without the extension
    std::shared_ptr<platform::GrowingFile> records = {};  ///< the records as received
    std::shared_ptr<platform::GrowingFile> lines = {};    ///< the composed lines
  };

  /// Adds the files that receive the next records. Earlier files stay in the list, but only the
  /// latest kMaximumDays kDay entries are kept. An erase does not wait for removed entries.
  void Add(Use use, Files files);

  /// Removes all files from the list except those that receive the next records.
  /// @param run  true: also removes the latest files of a run from the list
  /// @param day  true: also removes the latest files of a day from the list
  void Clear(bool run, bool day);

  /// Removes the files with this name (without the extension).
  void Remove(const std::string& name);

  /// Result of Find: the kinds of entries with the given name.
  struct Found {
    bool isDay = false;   ///< the latest kDay entry has this name
    bool isHeld = false;  ///< a kRun entry or an earlier kDay entry has this name
  };
  Found Find(const std::string& name) const;  ///< finds files by name without extension

  /// Waits until the files are on the disk.
  /// @param limit  maximum waiting time for each file
  /// @param days   true: also waits for the files of live scans
  /// @return false after an error or a time-out
  bool Synchronize(std::chrono::milliseconds limit, bool days) const;

 private:
  mutable std::mutex mutex_;
  std::array<std::deque<Files>, 2> files_;  // indexed by Use; the latest files come last
};

}  // namespace quillet
