#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/BackgroundWork.h"
#include "app/Platform.h"
#include "app/Redelivery.h"
#include "output/ArchiveReader.h"
#include "output/LumetFile.h"
#include "output/RunArchive.h"
#include "platform/RunsWindow.h"

namespace quillet {

/// Lists the synchronizations in the archive and saves, copies, delivers or deletes their records.
///
/// Main thread. Files are read and written on a thread of BackgroundWork.
class EarlierRuns {
 public:
  /// The objects that EarlierRuns uses. All must outlive it.
  struct Parts {
    const Platform& platform;      ///< files, panels, clipboard and desktop
    platform::RunsWindow& window;  ///< shows the list
    RunArchive& archive;           ///< the archive
    LumetFile& file;               ///< checks whether a path is the settings file
    Redelivery& redelivery;        ///< delivers records again
  };

  /// Sets the window's callbacks.
  explicit EarlierRuns(const Parts& parts);
  EarlierRuns(const EarlierRuns&) = delete;
  EarlierRuns& operator=(const EarlierRuns&) = delete;

  /// Shows the window and lists the runs in the archive.
  /// @param run  first file name of the run to select; empty: keeps the selection
  void Open(const std::string& run = {});

  /// Opens the window, selects a run and lets the user save its lines.
  /// @param run    first file name of the run
  /// @param saved  called with the path of the saved file; not called if no file is saved
  void Save(const std::string& run, const std::function<void(const std::string& path)>& saved);

  void RunEnded();  ///< updates the list; any thread

 private:
  platform::RunRow RowOf(const StoredRun& run) const;
  const StoredRun* Selected() const;

  void Refresh();
  void ShowRows();
  void ShowSelected();
  void ShowPreview();
  void Search(const std::string& text);
  void SaveAs();
  void Copy();
  void DeliverAgain();
  void ExportCsv();
  void ShowInFolder();
  void Remove();

  /// Asks the user for a path and writes a file there.
  /// @param title     title of the panel
  /// @param name      proposed file name
  /// @param contents  returns the contents, or no value if the archive cannot be read; called on
  ///                  another thread
  /// @param saved     called with the path after the file has been written successfully
  void SaveFile(
      const std::string& title, const std::string& name,
      std::function<std::optional<std::string>()> contents,
      const std::function<void(const std::string& path)>& saved = [](const auto&) {});
  std::string WriteFile(const std::string& path,
                        const std::function<std::optional<std::string>()>& contents) const;

  const Parts parts_;
  const Platform& platform_;
  platform::RunsWindow& window_;
  ArchiveReader reader_;
  BackgroundWork work_;
  bool opened_ = false;
  bool wasListed_ = false;          // a list has been read at least once
  bool listing_ = false;            // a list is being read
  bool listAgain_ = false;          // the list must be read again after the current read
  std::vector<StoredRun> runs_;     // newest first
  std::vector<std::string> shown_;  // name of the first file of each row's run
  std::string selected_;            // first file name of the selected run
  std::string wanted_;              // first file name of the run to select once it is listed
  std::string previewed_;           // first file name and size of the run in the preview
  bool previewing_ = false;         // a preview is being read
  std::string search_;
  std::string folder_;  // folder of the last saved file
};

}  // namespace quillet
