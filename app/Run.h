#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/SharedText.h"
#include "base/SystemLog.h"
#include "base/Word.h"
#include "device/ByteField.h"
#include "device/Settings.h"
#include "output/LumetFile.h"
#include "output/RunArchive.h"

namespace quillet {

/// The current synchronization: counts its records and gathers those that go to a file.
///
/// Threads: the main thread or the read thread begins a run; the read thread adds records and ends
/// the run. Any thread may read the public fields.
///
/// An automatic run does not block the Synchronize button, so a second run can begin before the
/// first has ended. Counts and gathered records then belong to the second run. The first call to
/// End writes the records gathered so far, and the second call writes the remaining ones.
class Run {
 public:
  /// The result of a run.
  struct Result {
    std::int32_t records = 0;          ///< number of records
    std::string file = {};             ///< path of the output file; empty if there is none
    std::int32_t recordsInFile = 0;    ///< number of records written to this file
    LineRange linesOnDisk = {};        ///< the lines in `file`; empty if `file` was not flushed
    bool refusedSettingsFile = false;  ///< nothing was written because `file` is the settings file
    int fileError = 0;                 ///< why `file` could not be written (errno(3)), or 0
  };

  /// Shows text in the main view; see SyncController::DisplayText.
  using ShowText = std::function<void(std::string_view text, bool newline)>;

  /// @param log   must outlive this object
  /// @param show  callable from any thread
  Run(SystemLog& log, ShowText show) : log_(log), show_(std::move(show)) {}
  ~Run() { delete gathered_.load(); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  /// Begins a run. If the destination is the file, drops the records gathered earlier.
  void Begin(std::int32_t destination);

  /// Counts a record. If the destination is the file, shows a dot for the first of every 64 records
  /// and, during a run, keeps the record for the file. Read thread.
  /// @param record       composed line
  /// @param destination  destination of the record; see Settings
  /// @param line         number of the record's line; see RunArchive::KeepLine
  void Add(const std::string& record, std::int32_t destination, std::int64_t line);

  /// Ends a run: writes the file and shows its path and the number of records. May be called twice
  /// for one run. Read thread.
  Result End(const Settings& settings, const SerialNumberField& serial, LumetFile& file);

  /// Returns true between Begin and End. Used by the progress display.
  bool IsShown() const { return isShown_; }

  /// Returns true during a run. Also returns true if the latest run that the user started with the
  /// Synchronize button was interrupted and will never end.
  bool IsInProgress() const { return isShown_ || bIsUnderSynchronization; }

  /// Returns the gathered text, or null if nothing has been gathered. Read thread.
  const std::string* barcodedata() const;

  Word<bool> bIsUnderSynchronization = false;  ///< a run started with Synchronize is in progress
  /// A scanner has connected, and no run has begun since.
  std::atomic<bool> automaticRunIsDue{false};
  std::atomic<std::int32_t> barcodeCount{0};  ///< number of records in the run
  std::atomic<std::int32_t> barcodeindex{0};  ///< number of records collected for the file
  SharedText syncfileData;                    ///< unused; always empty
  SharedText syncfileName;                    ///< path of the last file written

 private:
  struct Records {
    Records();
    std::string text;
    std::int32_t count = 0;
    LineRange lines;  // consecutive line numbers, ending with the last line in `text`
  };

  void Gather(const std::string& record, std::int64_t line);
  void Write(const Records* records, const Settings& settings, const SerialNumberField& serial,
             LumetFile& file, Result& result);

  SystemLog& log_;
  const ShowText show_;
  std::atomic<Records*> gathered_{nullptr};  // owned; see Gather
  std::atomic<std::int32_t> runsUnderWay_{0};
  Word<bool> isShown_ = false;
};

}  // namespace quillet
