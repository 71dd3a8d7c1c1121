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

namespace quillet {

/// The present synchronization: how many records it has delivered, those gathered for the file, and
/// whether it has ended.
///
/// Threads: the main thread or the read thread begins a run. The read thread adds its records and
/// ends it. Any thread reads the public fields.
///
/// A run can begin before the one before has ended, since an automatic run does not block the
/// button. The counts and the gathered records are then those of the newer run, and the first end
/// writes them. The newer run is still under way and gathers its further records.
class Run {
 public:
  /// Shows a text in the main view; see SyncController::DisplayText.
  using ShowText = std::function<void(std::string_view text, bool newline)>;

  /// @param log   outlives this object
  /// @param show  callable from any thread
  Run(SystemLog& log, ShowText show) : log_(log), show_(std::move(show)) {}
  ~Run() { delete gathered_.load(); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  /// Begins a run with no records. Drops the records that are gathered, if it goes to the file.
  void Begin(std::int32_t destination);

  /// Counts a record. If it goes to the file, gathers it and shows the dot of every 64th record.
  /// Outside a run the record is not gathered. Read thread.
  void Add(const std::string& record, std::int32_t destination);

  /// Ends a run: writes the file, shows its path and the number of records. The end can be reported
  /// twice. Read thread.
  /// @return whether the run had records.
  bool End(const Settings& settings, const SerialNumberField& serial, LumetFile& file);

  /// Whether no end has followed the last beginning.
  bool IsShown() const { return isShown_; }

  /// The text gathered for the file, null if there is none. Read thread.
  const std::string* barcodedata() const;

  Word<bool> bIsUnderSynchronization = false;  ///< a run that the button started has not ended
  std::atomic<std::int32_t> barcodeCount{0};   ///< records of the run
  std::atomic<std::int32_t> barcodeindex{0};   ///< records of the run that went to the file
  SharedText syncfileData;                     ///< always empty
  SharedText syncfileName;                     ///< the file that the last run wrote

 private:
  struct Records {
    Records();
    std::string text;
    std::int32_t count = 0;
  };

  void Gather(const std::string& record);
  void Write(const Records* records, const Settings& settings, const SerialNumberField& serial,
             LumetFile& file);

  SystemLog& log_;
  const ShowText show_;
  std::atomic<Records*> gathered_{nullptr};    // see Gather
  std::atomic<std::int32_t> runsUnderWay_{0};  // begun and not ended
  Word<bool> isShown_ = false;
};

}  // namespace quillet
