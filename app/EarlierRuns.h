#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/ApplicationDelivery.h"
#include "app/Platform.h"
#include "app/StatusStrip.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/Settings.h"
#include "output/ArchivedRun.h"
#include "output/LumetFile.h"
#include "output/RunArchive.h"
#include "platform/RunsWindow.h"

namespace quillet {

/// Lists the synchronizations in the archive and saves, copies, delivers or deletes their records.
///
/// Main thread. Deliver again composes and delivers the lines on a separate thread.
class EarlierRuns {
 public:
  /// The objects that EarlierRuns uses. All must outlive it.
  struct Parts {
    const Platform& platform;       ///< files, panels, clipboard and desktop
    platform::RunsWindow& window;   ///< shows the list
    RunArchive& archive;            ///< the archive
    LumetFile& file;                ///< writes the output file of Deliver again
    const Settings& settings;       ///< the current settings
    ApplicationDelivery& delivery;  ///< types or pastes the lines for Deliver again
    StatusStrip& strip;             ///< shows the progress of Deliver again
    std::function<bool()> isBusy;   ///< whether a run is in progress; any thread
    std::function<void(std::string_view line)> showLine;  ///< appends to the main view; any thread
  };

  /// Sets the window's callbacks.
  explicit EarlierRuns(const Parts& parts);
  EarlierRuns(const EarlierRuns&) = delete;
  EarlierRuns& operator=(const EarlierRuns&) = delete;

  void Open();      ///< shows the window and lists the runs in the archive
  void RunEnded();  ///< updates the list; any thread

 private:
  /// A run in the archive.
  struct Listed {
    std::string name;  // of the files, without the extension
    std::uint64_t bytes = 0;
    bool inProgress = false;
    std::optional<ArchivedRun> run = {};  // no value if the file is unread or unreadable
    bool wasRead = false;
  };

  bool IsLive(const Listed& listed) const;
  bool HasAllLines(const Listed& listed) const;
  platform::RunRow RowOf(const Listed& listed) const;
  std::string PathOf(const Listed& listed, std::string_view ending) const;
  const Listed* Selected() const;

  void Refresh();
  void ReadSome();
  void ShowRows();
  void ShowSelected();
  std::optional<std::string> Lines(const Listed& listed) const;
  std::optional<std::string> Records(const std::string& name) const;
  void Search(const std::string& text);
  void SaveAs();
  void Copy();
  void ExportCsv();
  void ShowInFolder();
  void Remove();
  void SaveFile(const std::string& title, const std::string& name, std::string_view contents);

  void DeliverAgain();
  void DeliverOnThread(const std::string& name);
  std::string Deliver(const std::string& name);
  std::string DeliverToFile(std::string_view contents);
  std::string DeliverToApplication(std::string_view contents, std::int32_t destination);
  std::string FreePath(const std::string& path) const;
  bool AwaitOtherWindow();
  bool IsActive();
  void Report(const std::string& text);

  const Parts parts_;
  const Platform& platform_;
  platform::RunsWindow& window_;
  bool opened_ = false;
  std::vector<Listed> runs_;        // newest first
  std::vector<std::string> shown_;  // names of the displayed runs, one per row
  std::string selected_;            // name of the selected run
  std::string previewed_;           // name and size of the run in the preview
  std::string search_;
  std::string folder_;  // folder of the file saved last

  ThreadHandle delivering_;
  Word<bool> stopped_ = false;
  Word<bool> isActive_ = true;
  Word<bool> answered_ = false;
  bool otherWindowIsActive_ = false;  // used only by the delivery thread
};

}  // namespace quillet
