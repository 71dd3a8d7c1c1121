#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileStore.h"

namespace quillet {

/// The archive folder: names, marks and deletes the files described in docs/archive.md. File names
/// do not include the extension. Any thread.
class ArchiveFolder {
 public:
  ///@{ File extensions: received records, composed lines, mark of a run in progress.
  static constexpr std::string_view kRecordsEnding = ".records";
  static constexpr std::string_view kLinesEnding = ".txt";
  static constexpr std::string_view kOpenEnding = ".open";
  ///@}

  static constexpr std::size_t kRuns = 100;  ///< maximum number of runs
  static constexpr std::uint64_t kArchiveSize =
      200'000'000;  ///< maximum total size of the files in bytes

  /// @param files  reads and writes the files; must outlive this object
  /// @param path   absolute path of the folder; need not exist
  ArchiveFolder(platform::FileStore& files, std::string path)
      : files_(files), path_(std::move(path)) {}

  /// Returns true if a file with this name contains live scans of a day.
  static bool IsLive(std::string_view name);

  /// Returns the name of the first file of a run or day, given the name of any of its files.
  static std::string_view GroupOf(std::string_view name);

  /// Absolute path of the folder.
  const std::string& path() const { return path_; }

  /// Returns the path of the file with this name and extension.
  std::string PathOf(std::string_view name, std::string_view ending) const;

  /// Creates the folder.
  /// @return true if the folder exists afterwards
  bool Create() { return files_.CreatePrivateFolder(path_); }

  /// Returns true if a file with this name and any extension exists.
  bool Contains(std::string_view name) const;

  /// Returns `name` if it is not in use. Otherwise, appends the lowest unused number, at least 2.
  /// @param name       file name without the extension
  /// @param separator  precedes the number; with kVolumeMark, the number has at least two digits
  /// @return an empty string if all numbers are in use
  std::string UnusedName(const std::string& name, std::string_view separator = "_") const;

  /// Precedes the number in the names of the second and later files of a run.
  static constexpr std::string_view kVolumeMark = "_part";

  void Mark(const std::string& name);    ///< marks a run as in progress
  void Unmark(const std::string& name);  ///< removes the mark of a run

  /// Records the order in which files are created. Sorting by name gives this order only if the
  /// clock is never set back.
  void NoteCreation(const std::string& name);

  /// Returns the runs that an earlier process left unfinished, and removes their marks.
  std::vector<std::string> TakeInterrupted();

  /// Returns true if a process has the files with this name open.
  bool IsInUse(const std::string& name) const;

  /// Deletes the files with this name.
  void Remove(const std::string& name);

  /// Deletes the oldest runs until at most kRuns runs and kArchiveSize bytes remain. Files of live
  /// scans do not count as runs. Keeps runs that are in use. Errors are ignored.
  void DropOld();

 private:
  struct Run;
  std::vector<Run> RunsByAge() const;

  platform::FileStore& files_;
  const std::string path_;
};

}  // namespace quillet
