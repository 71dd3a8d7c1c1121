#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/SystemLog.h"
#include "device/Settings.h"
#include "output/ArchiveFolder.h"
#include "output/RecordsFile.h"
#include "platform/FileStore.h"

namespace quillet {

/// A run in the archive, or the live scans of a day.
struct StoredRun {
  std::vector<std::string> names;  ///< names of the run's files without the extension, oldest first
  std::uint64_t bytes = 0;         ///< size of the run's records files in bytes
  bool live = false;               ///< true for the files of a day's live scans
  bool inProgress = false;         ///< more records may arrive; always false for live scans
  RecordsFileHead head = {};       ///< metadata, combined from all files of the run
};

/// Reads the archive folder. Any thread may call the functions. Only one thread at a time may call
/// List.
class ArchiveReader {
 public:
  /// @param log     receives the names of unreadable files; must outlive this object, like `files`
  /// @param files   reads the files
  /// @param folder  absolute path of the archive folder; need not exist
  ArchiveReader(SystemLog& log, platform::FileStore& files, std::string folder)
      : log_(log), files_(files), folder_(files, std::move(folder)) {}

  /// Returns the runs in the archive, newest first. The files of a run form one entry, as do the
  /// files of a day's live scans. Reads only files that are new or whose size has changed since
  /// the last call.
  std::vector<StoredRun> List();

  /// Reads the records of a run.
  /// @param run     a run that List returned
  /// @param record  called for each record; see ReadRecordsFile
  /// @return the number of records; no value if a file cannot be read
  std::optional<std::int64_t> ForEachRecord(const StoredRun& run,
                                            const ArchivedRecord& record) const;

  /// Composes the lines of a run.
  /// @param run       a run that List returned
  /// @param settings  see ReadRecordsFileLines
  /// @param line      called for each line, in UTF-8
  /// @return the number of records; no value if a file cannot be read
  std::optional<std::int64_t> ForEachLine(
      const StoredRun& run, const Settings* settings,
      const std::function<void(const std::string& line)>& line) const;

  /// Returns the lines of a run as delivered, or no value if a file cannot be read.
  /// @param run    a run that List returned
  /// @param limit  number of bytes that the caller needs; the rest may be omitted
  std::optional<std::string> Lines(const StoredRun& run,
                                   std::size_t limit = std::string::npos) const;

  /// Returns the path of the first file with the delivered lines of a run.
  std::string LinesPath(const StoredRun& run) const;

 private:
  struct File {
    std::string name;  // without the extension
    std::uint64_t bytes = 0;
    std::optional<RecordsFileHead> head = {};  // no value if the file cannot be read
  };

  File ReadHead(const std::string& name, std::uint64_t bytes) const;

  SystemLog& log_;
  platform::FileStore& files_;
  const ArchiveFolder folder_;
  std::vector<File> known_;  // the files that the last call to List found, sorted by name
};

}  // namespace quillet
