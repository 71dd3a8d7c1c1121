#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/SharedText.h"
#include "base/Word.h"
#include "device/RecordArchive.h"
#include "device/ScannerIdentity.h"
#include "device/Settings.h"
#include "output/ArchiveFolder.h"
#include "output/ArchiveVolume.h"
#include "output/FlushList.h"
#include "output/LineRange.h"
#include "output/RunUnits.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"

namespace quillet {

/// Writes every received record to the user's archive folder, in the format of docs/archive.md, and
/// permits an erase only if all records of the run are on the disk.
///
/// A run has two files: NAME.txt with the composed lines, and NAME.records with the records as
/// received. Scans that arrive outside a run are written to two files per day. While a run is in
/// progress, a file NAME.open marks it. After an error, the next record is written to new files.
class RunArchive final : public RecordArchive {
 public:
  /// A problem that the user should know about.
  enum class Problem {
    kNotWritten,     ///< a record could not be written to the archive
    kEraseWithheld,  ///< the scanner is not erased, because its records are not on the disk
    kCutOff,         ///< the scanner is not erased, because some records are incomplete
    kEraseDropped,   ///< the scanner is not erased, because the connection has ended
  };

  /// Size at which a new file begins, in bytes.
  static constexpr std::uint64_t kFileSize = 20'000'000;

  /// All references must outlive this object.
  /// @param clock     provides the times for file names and entries
  /// @param files     writes the files
  /// @param settings  written to the files
  /// @param scanner   written to the files
  /// @param folder    absolute path of the archive folder; need not exist
  RunArchive(platform::Clock& clock, platform::FileStore& files, const Settings& settings,
             const ScannerIdentity& scanner, std::string folder);
  RunArchive(const RunArchive&) = delete;
  RunArchive& operator=(const RunArchive&) = delete;

  /// Sets the function to call when a problem occurs. Must be called before the first record
  /// arrives. The function is called on the read thread or the command thread.
  void OnProblem(std::function<void(Problem)> action) { onProblem_ = std::move(action); }

  /// Sets the function to call after the scanner has confirmed an erase. Must be called before the
  /// first record arrives. The function is called on the read thread.
  void OnErased(std::function<void()> action) { onErased_ = std::move(action); }

  /// Finds the runs that an earlier process did not finish. Later calls do not return them again.
  /// @return the names of their files, without the extension
  std::vector<std::string> TakeInterruptedRuns() { return folder_.TakeInterrupted(); }

  /// Begins a run. If a run is already in progress and its connection has not ended, both runs use
  /// the same files. Any thread.
  void Begin();
  /// Called when the connection ends. Any thread.
  void ConnectionEnded() { interrupted_ = true; }
  /// Adds the composed line of the last record to the archive. Read thread.
  /// @return the number of the line
  std::int64_t KeepLine(std::string_view line);
  /// Called when the output file of a run has been written. Read thread.
  /// @param path   absolute path of the file
  /// @param lines  the lines of this run in the file; empty if the file could not be flushed
  void OutputFileWritten(const std::string& path, LineRange lines);
  /// Ends a run. Read thread.
  /// @param complete  true if all records of the scanner were received
  void End(bool complete);

  /// Writes the lines that have not been written yet. After this call, lines are written
  /// immediately. Waits up to 0.5 s for the read thread. Main thread.
  void WriteLines();

  /// Deletes the files of a run or of a day's live scans. If the scanner still holds the deleted
  /// records, an erase is then permitted only if another copy of them exists. Main thread.
  /// @param name  name of the files, without the extension
  /// @return false if the run is in progress or another process has the files open
  bool Delete(const std::string& name);

  void DownloadStarted(std::int32_t records, bool erasePending) override;
  void KeepRecord(std::span<const std::uint8_t> record) override;
  void KeepBurst(std::span<const std::uint8_t> records) override;
  void BurstDelivered(bool complete) override;
  std::optional<ErasePermit> AwaitCopy() override;
  void Erased() override;
  void EraseDropped() override { Report(Problem::kEraseDropped); }

  /// Returns true if archiving a record of the current run has failed. Any thread.
  bool failed() const { return units_.IsSet(failed_); }

  /// Returns true if some records of the current run are known to be incomplete. Any thread.
  bool cutOff() const { return units_.IsSet(cutOff_); }

  /// Name of the latest run's first files, without the extension. Empty until the scanner has
  /// reported records for this run. Any thread.
  const std::string& runName() const { return runName_.Get(); }

  /// Absolute path of the archive folder.
  const std::string& folder() const { return folder_.path(); }

 private:
  void ForgetEarlierRuns();
  ArchiveVolume& Current();
  void OpenRun();
  void OpenDay();
  bool OpenVolume(FlushList::Use use, const std::string& name, std::uint64_t size = 0);
  void CloseRun(std::string_view status);
  void KeepUnit(std::string_view kind, std::span<const std::uint8_t> bytes);
  bool AppendUnit();
  void CheckedAppend(std::string_view entry);
  void AppendLines();
  void Failed();
  void Report(Problem problem) const;
  std::string Header() const;
  std::string Timestamp() const;
  std::string EndEntry(std::string_view status) const;
  std::nullopt_t Withheld(Problem reason);
  void CopyDeleted();
  bool FilesSynchronized();
  bool FlushFiles();
  bool AwaitOutputFile();
  bool OutputFileIsACopy();

  platform::Clock& clock_;
  platform::FileStore& files_;
  const Settings& settings_;
  const ScannerIdentity& scanner_;
  ArchiveFolder folder_;
  std::function<void(Problem)> onProblem_;
  std::function<void()> onErased_;

  std::atomic<std::int32_t> runsInProgress_{0};
  Word<bool> startsRun_ = false;    // the run in progress has no files yet
  Word<bool> interrupted_ = false;  // the connection was lost during the run in progress
  Word<bool> overlaps_ = false;     // the run began before the previous one ended
  RunUnits units_;
  RunUnits::Mark failed_{0};             // the last unit whose data or line was not archived
  RunUnits::Mark unsafe_{0};             // some units up to this one may be missing from the files
  RunUnits::Mark cutOff_{0};             // the last unit that is known to be incomplete
  RunUnits::Mark lastOfRun_{0};          // the last unit of the most recently ended run
  RunUnits::Mark inDay_{0};              // the last unit that belongs in a day's files
  RunUnits::Mark flushed_{-1};           // this unit and all earlier ones are on the disk
  RunUnits::Mark copied_{-1};            // this unit and all earlier ones are in the output file
  RunUnits::Mark permitted_{0};          // the last permitted erase covers the units up to this one
  std::atomic<bool> dayDeleted_{false};  // the day's files were deleted
  Word<bool> linesPending_ = false;      // pendingLines_ is not empty
  Word<bool> writesEachLine_ = false;    // each line is written immediately; see WriteLines
  SharedText runName_;

  // Read thread.
  ArchiveVolume run_;
  ArchiveVolume day_;
  ArchiveVolume* latest_ = nullptr;  // the files that the last unit was written to
  bool isMarked_ = false;            // the files in run_ are marked as in progress
  std::string firstName_;            // name of the run's first files
  std::string pendingLines_;
  std::string entry_;
  bool inBurst_ = false;
  bool isBurstCut_ = false;       // the connection ended, so the last burst may be incomplete
  bool dayFailed_ = false;        // an error has occurred in a file of live scans
  bool lineIsDue_ = false;        // the line of the last record has not been composed yet
  std::int64_t linesBefore_ = 0;  // lines_ when the current run began; see RunUnits
  RunUnits::Mark lacksData_{0};   // the last unit that was not completely written as lines

  std::atomic<std::int64_t> lines_{0};         // number of lines composed so far
  std::atomic<std::int64_t> linesAtBegin_{0};  // lines_ when units_.RunBegan was last called

  FlushList flushList_;    // the files that AwaitCopy flushes
  SharedText outputFile_;  // path of the most recently written output file
};

}  // namespace quillet
