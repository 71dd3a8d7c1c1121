#pragma once

#include <QDialog>
#include <memory>

#include "platform/RunsWindow.h"

namespace quillet::platform::qt {

/// The window that lists earlier synchronizations.
///
/// Return presses the button that has focus, or "Save as" if no button has focus. In the search
/// field, Return moves to the list. In the list, Delete and Control-C press the Delete and Copy
/// buttons. Control-F moves to the search field. Escape closes the window.
///
/// Main thread only.
class QtRunsWindow final : public QDialog, public RunsWindow {
 public:
  /// Creates the window but does not show it.
  /// @param parent  the main window; this window stays in front of it
  explicit QtRunsWindow(QWidget& parent);
  ~QtRunsWindow() override;

  void SetActions(RunsActions actions) override;
  void ShowRows(const std::vector<RunRow>& rows, std::int32_t selected) override;
  std::int32_t SelectedRow() const override;
  void ShowEmptyText(std::string_view text) override;
  void EnableActions(bool use, bool remove) override;
  void ShowDelivering(bool delivering) override;
  /// Changes the mouse pointer if the work takes longer than 0.2 s.
  void ShowBusy(bool busy) override;
  void ShowMessage(std::string_view text) override;
  void ClearSearch() override;
  bool ConfirmDeletion(std::string_view question, std::string_view consequence) override;
  std::optional<CsvChoice> ChooseCsv() override;
  TextView& preview() override;
  Window& runsWindow() override;

 protected:
  void setVisible(bool visible) override;
  bool event(QEvent* event) override;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
  bool sized_ = false;
};

}  // namespace quillet::platform::qt
