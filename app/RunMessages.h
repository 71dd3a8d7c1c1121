#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/ApplicationDelivery.h"
#include "app/EarlierRuns.h"
#include "app/Platform.h"
#include "app/Run.h"
#include "app/RunProgress.h"
#include "app/StatusStrip.h"
#include "base/SharedText.h"
#include "base/Word.h"
#include "device/Lumet.h"
#include "output/RunArchive.h"

namespace quillet {

/// Shows the progress, the results and the problems of runs in the status strip, and announces
/// scans outside runs.
class RunMessages {
 public:
  /// The objects that RunMessages uses. All must outlive it.
  struct Parts {
    const Platform& platform;             ///< clock, ticker, main queue and desktop
    const Lumet& session;                 ///< progress and settings
    const Run& run;                       ///< provides the record counts
    const ApplicationDelivery& delivery;  ///< provides the number of typed or pasted records
    const Word<bool>& isConnected;        ///< whether a scanner is connected
    RunArchive& archive;                  ///< stores the records
    EarlierRuns& earlierRuns;             ///< shows and saves archived runs
    StatusStrip& strip;                   ///< shows the messages
    std::function<void()> openSettings;   ///< opens the settings window; main thread
    std::function<void()> restart;        ///< starts the program again; main thread
  };

  explicit RunMessages(const Parts& parts) : parts_(parts) {}  ///< see Parts
  RunMessages(const RunMessages&) = delete;
  RunMessages& operator=(const RunMessages&) = delete;

  /// Called when the user starts a run. Removes the messages about earlier actions. Any thread.
  void RunRequested();
  void RunBegan();  ///< called when a run begins; shows its progress. Any thread.
  void RunEnded(const Run::Result& result);  ///< called when a run has ended; read thread

  void Connected();     ///< called after a scanner has connected. Read thread.
  void Disconnected();  ///< called after a connection has ended. Main thread.
  void HungUp();        ///< called if the scanner's serial line stops working. Main thread.

  void Problem(RunArchive::Problem problem);  ///< see RunArchive::OnProblem
  void ScannerErased();                       ///< see RunArchive::OnErased

  /// Called after a record has been typed or pasted into a program. Announces the first record that
  /// arrives outside a run. Read thread.
  /// @param destination  see Settings
  void RecordDelivered(std::int32_t destination);

  /// Shows why the button that the user pressed has no effect at the moment. Main thread.
  void PressIgnored(const std::string& text);

  /// If runs erase the scanner without writing a file, shows a message that the records are saved
  /// only in the archive. Shows it at most once, and not if the archive has failed. Any thread.
  void CheckCopies();

  /// Shows that an earlier process did not finish its work. Main thread.
  /// @param runs   interrupted runs, as returned by RunArchive::TakeInterruptedRuns
  /// @param files  number of incomplete temporary files that were deleted
  void Interrupted(const std::vector<std::string>& runs, std::size_t files);

 private:
  void StartTicker();
  void ShowProgress();
  void ShowFinished(const Run::Result& result);
  void ShowFile(const Run::Result& result);
  std::string InTime() const;
  std::string Again() const;
  void ShowMissing(std::string_view scanner);
  std::string Arrived() const;
  std::string Kept(std::int32_t records) const;
  StripAction Restart() const { return {"Restart Quillet", parts_.restart}; }
  std::vector<StripAction> ShowActions() const;
  std::vector<StripAction> SaveActions() const;
  std::vector<StripAction> FileActions(const std::string& path) const;

  const Parts parts_;
  RunProgress progress_;                             // main thread only
  bool stuck_ = false;                               // main thread: message kRunStuck is shown
  std::optional<std::chrono::nanoseconds> pressed_;  // main thread: time of last ignored press
  std::atomic<std::int64_t> begin_{0};               // when the run began, in ms
  std::atomic<bool> hasEnded_{false};                // a run has ended
  std::atomic<bool> fileSaid_{false};                // a message about the run's file was shown
  SharedText endedName_;                             // name of the most recently ended run
  // The counts of the most recently ended run; see DownloadCounts.
  std::atomic<std::int32_t> expected_{0};  // number of records in the scanner
  std::atomic<std::int32_t> missing_{0};
  std::atomic<std::int32_t> received_{0};
  std::atomic<bool> burstCutOff_{false};
  std::atomic<bool> onlyCopySaid_{false};
  std::set<std::string> receivers_;  // read thread: programs that have received records
};

}  // namespace quillet
