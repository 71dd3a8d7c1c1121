#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Controls.h"

namespace quillet::platform {

/// The text of each column in a row of the list of runs.
struct RunRow {
  std::string date;         ///< start of the run, or the day of live scans
  std::string scanner;      ///< displayed part of the serial number
  std::string records;      ///< number of records
  std::string destination;  ///< path of the file or application, or the destination's title
  std::string state;        ///< complete, incomplete, in progress, or live scans
  std::string erased;       ///< "Yes" or "No"; empty for live scans
  bool operator==(const RunRow&) const = default;  ///< compares all members
};

/// The user's choices for a CSV file.
struct CsvChoice {
  bool rowPerBarcode = false;  ///< true: one row per barcode; false: one row per record
  bool apostrophes = false;    ///< true: write an apostrophe before barcodes and serial numbers
  bool operator==(const CsvChoice&) const = default;  ///< compares all members
};

/// Callbacks for the user's actions.
struct RunsActions {
  std::function<void(const std::string& text)> search;  ///< the search text changed
  std::function<void()> select;                         ///< another row was selected
  std::function<void()> activate;                       ///< the window received focus
  std::function<void()> saveAs;                         ///< Save as… was pressed
  std::function<void()> copy;                           ///< Copy was pressed
  std::function<void()> deliver;       ///< Deliver again or Stop delivery was pressed
  std::function<void()> exportCsv;     ///< Export as CSV… was pressed
  std::function<void()> showInFolder;  ///< Show in folder was pressed
  std::function<void()> remove;        ///< Delete… was pressed
};

/// The window that shows earlier synchronizations: a list with a search field, a preview, and
/// buttons for the selected row. Texts are UTF-8. Main thread only.
class RunsWindow {
 public:
  virtual ~RunsWindow() = default;

  virtual void SetActions(RunsActions actions) = 0;  ///< call once, before showing the window

  /// Changes the rows without calling the callbacks. Rows with the same date and scanner as before
  /// are updated in place, so that screen readers stay on their row and the list does not scroll.
  /// @param rows      the new rows, from top to bottom
  /// @param selected  zero-based index of the row to select; -1: no row
  virtual void ShowRows(const std::vector<RunRow>& rows, std::int32_t selected) = 0;

  virtual void ClearSearch() = 0;  ///< empties the search field without calling the callbacks

  virtual std::int32_t SelectedRow() const = 0;  ///< returns an index, or -1 if no row is selected

  /// Sets the text to show if the list has no rows.
  virtual void ShowEmptyText(std::string_view text) = 0;

  /// Enables or disables the buttons for the selected row.
  /// @param use     true enables all buttons except Delete; Stop delivery is always enabled
  /// @param remove  true enables the Delete button
  virtual void EnableActions(bool use, bool remove) = 0;

  /// Sets the label of the delivery button: "Stop delivery" if `delivering` is true, otherwise
  /// "Deliver again".
  virtual void ShowDelivering(bool delivering) = 0;
  virtual void ShowBusy(bool busy) = 0;  ///< shows whether files are being read or written
  virtual void ShowMessage(std::string_view text) = 0;  ///< shows a one-line message

  /// Asks the user whether to delete a run.
  /// @param question     the question, one sentence
  /// @param consequence  explains what will be lost
  /// @return true if the user confirms
  virtual bool ConfirmDeletion(std::string_view question, std::string_view consequence) = 0;

  /// Asks the user what a CSV file should contain.
  /// @return no value if the user cancels
  virtual std::optional<CsvChoice> ChooseCsv() = 0;

  virtual TextView& preview() = 0;   ///< returns the preview
  virtual Window& runsWindow() = 0;  ///< returns the window
};

}  // namespace quillet::platform
