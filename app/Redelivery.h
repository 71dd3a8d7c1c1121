#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "app/ApplicationDelivery.h"
#include "app/Platform.h"
#include "app/Run.h"
#include "app/StatusStrip.h"
#include "app/TargetApplication.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/Settings.h"
#include "output/ArchiveReader.h"
#include "output/LumetFile.h"
#include "output/RunArchive.h"
#include "platform/RunsWindow.h"

namespace quillet {

/// Delivers the records of an earlier run again, to the current destination. Shows the progress and
/// the result in the status strip and in the window that lists the earlier runs.
///
/// Main thread. A separate thread composes and delivers the lines.
class Redelivery {
 public:
  /// Shown if the archived records of a run cannot be read.
  static constexpr std::string_view kUnreadable =
      "The archived records cannot be read. Check the disk.";

  /// The objects that Redelivery uses. All must outlive it.
  struct Parts {
    const Platform& platform;       ///< clock, files, main queue and workspace
    platform::RunsWindow& window;   ///< shows the messages
    const RunArchive& archive;      ///< provides the archive folder
    const Run& run;                 ///< the current run; blocks deliveries while in progress
    LumetFile& file;                ///< writes the output file
    const Settings& settings;       ///< the current settings
    ApplicationDelivery& delivery;  ///< types or pastes the lines
    TargetApplication& target;      ///< starts the application
    StatusStrip& strip;             ///< shows the messages
    std::function<void(std::string_view line)> showLine;  ///< appends to the main view; any thread
  };

  explicit Redelivery(const Parts& parts);  ///< see Parts
  Redelivery(const Redelivery&) = delete;
  Redelivery& operator=(const Redelivery&) = delete;

  /// Returns true while a delivery is in progress.
  bool IsRunning() const { return !thread_.IsEmpty(); }

  /// Starts a delivery. Shows a message instead if a synchronization is in progress or the system
  /// cannot start a thread. Must not be called while a delivery is in progress.
  /// @param run  a run that ArchiveReader::List returned
  void Start(const StoredRun& run);

  /// Ends a delivery to an application before the next record is delivered.
  void Stop() { stopped_ = true; }

 private:
  void DeliverOnThread(const StoredRun& run);
  std::string Deliver(const StoredRun& run);
  std::string DeliverToFile(const StoredRun& run);
  std::string DeliverToApplication(const StoredRun& run, std::int32_t destination);
  std::string StopAfter(DeliveryOutcome outcome) const;
  bool AwaitOtherWindow();
  bool IsActive();
  void Report(const std::string& text);

  const Parts parts_;
  const ArchiveReader reader_;
  ThreadHandle thread_;
  Word<bool> stopped_ = false;
  Word<bool> isActive_ = true;
  Word<bool> answered_ = false;
  bool otherWindowIsActive_ = false;  // delivery thread only
};

}  // namespace quillet
