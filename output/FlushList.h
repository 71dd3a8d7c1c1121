#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/GrowingFile.h"

namespace quillet {

/// The files of the archive that must be on the disk before the scanner is erased. Any thread. No
/// lock is held while files are flushed.
class FlushList {
 public:
  /// The kind of records in the files.
  enum class Use : std::size_t {
    kRun,  ///< the records of a run
    kDay,  ///< the live scans of a day
  };

  /// Two files of the same name.
  struct Files {
    std::string name;                                     ///< name without the extension
    std::shared_ptr<platform::GrowingFile> records = {};  ///< the records as received
    std::shared_ptr<platform::GrowingFile> lines = {};    ///< the composed lines
  };

  /// Adds the files that receive the next records. The earlier files stay in the list.
  void Add(Use use, Files files);

  /// Removes all files except those that receive the next records.
  /// @param run  also removes the latest files of a run
  /// @param day  also removes the latest files of a day
  void Clear(bool run, bool day);

  /// Result of Find: which files have the name.
  struct Found {
    bool isDay = false;   ///< the latest files of a day have it
    bool isHeld = false;  ///< other files in the list have it
  };
  Found Find(const std::string& name) const;  ///< finds files by name without extension

  /// Waits until all files are on the disk.
  /// @param limit  maximum waiting time for each file
  /// @return false after an error or after `limit`
  bool Synchronize(std::chrono::milliseconds limit) const;

 private:
  Files& Latest(Use use) { return latest_[static_cast<std::size_t>(use)]; }

  mutable std::mutex mutex_;
  std::array<Files, 2> latest_;  // indexed by Use; the name is empty if there are no files
  std::vector<Files> earlier_;
};

}  // namespace quillet
