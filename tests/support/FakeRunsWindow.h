#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/RunsWindow.h"
#include "tests/support/FakeControls.h"

namespace quillet::test {

/// A RunsWindow without controls. Only stores its contents and state.
class FakeRunsWindow final : public platform::RunsWindow {
 public:
  void SetActions(platform::RunsActions actions) override { actions_ = std::move(actions); }
  void ShowRows(const std::vector<platform::RunRow>& rows, std::int32_t selected) override {
    rows_ = rows;
    selected_ = selected;
  }
  std::int32_t SelectedRow() const override { return selected_; }
  void ClearSearch() override { searchText_.clear(); }
  void ShowEmptyText(std::string_view text) override { emptyText_ = text; }
  void EnableActions(bool use, bool remove) override {
    canUse_ = use;
    canRemove_ = remove;
  }
  void ShowDelivering(bool delivering) override { delivering_ = delivering; }
  void ShowBusy(bool busy) override { busy_ = busy; }
  void ShowMessage(std::string_view text) override { message_ = text; }
  bool ConfirmDeletion(std::string_view question, std::string_view consequence) override {
    question_ = std::string(question) + "|" + std::string(consequence);
    return confirms;
  }
  std::optional<platform::CsvChoice> ChooseCsv() override { return csv; }
  FakeTextView& preview() override { return preview_; }
  FakeWindow& runsWindow() override { return window_; }

  ///@{ User actions.
  void Search(const std::string& text) {
    if (std::exchange(searchText_, text) != text) actions_.search(text);
  }
  void Select(std::int32_t row) {
    if (std::exchange(selected_, row) != row) actions_.select();
  }
  void Activate() { actions_.activate(); }
  void Press(std::function<void()> platform::RunsActions::*action) {
    const bool isStop = action == &platform::RunsActions::deliver && delivering_;
    const bool enabled = action == &platform::RunsActions::remove ? canRemove_ : canUse_ || isStop;
    if (enabled) (actions_.*action)();
  }
  ///@}

  ///@{ Contents and state of the window.
  const std::vector<platform::RunRow>& rows() const { return rows_; }
  const std::string& emptyText() const { return emptyText_; }
  const std::string& message() const { return message_; }
  const std::string& question() const { return question_; }
  bool canUse() const { return canUse_; }
  bool canRemove() const { return canRemove_; }
  bool busy() const { return busy_; }
  bool delivering() const { return delivering_; }
  ///@}

  bool confirms = true;  ///< the user's answer to ConfirmDeletion
  std::optional<platform::CsvChoice> csv = {{false, false}};  ///< the user's answer to ChooseCsv

 private:
  platform::RunsActions actions_;
  std::vector<platform::RunRow> rows_;
  std::int32_t selected_ = -1;
  std::string searchText_, emptyText_, message_, question_;
  bool canUse_ = false, canRemove_ = false, busy_ = false, delivering_ = false;
  FakeTextView preview_;
  FakeWindow window_;
};

}  // namespace quillet::test
