#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Controls.h"

namespace quillet::test {

/// A view that removes records when the test calls RemoveRecords.
class FakeTextView final : public platform::TextView {
 public:
  void Append(std::string_view text) override { Add(text, kMessage); }
  void AppendRecords(std::string_view text) override { Add(text, kRecord); }
  void OnRecordsRemoved(std::function<void()> action) override { removed_ = std::move(action); }
  /// Removes every line whose text was added only by AppendRecords.
  void RemoveRecords() {
    for (std::size_t start = 0; start < text_.size();) {
      const std::size_t length = std::min(text_.find('\n', start), text_.size() - 1) + 1 - start;
      if (kinds_.find(kMessage, start) < start + length) {
        start += length;
      } else {
        text_.erase(start, length);
        kinds_.erase(start, length);
      }
    }
    if (removed_) removed_();
  }
  void ScrollToEnd() override { scrolledToEnd_ = true; }
  void SetText(std::string_view text) override {
    text_.clear();
    kinds_.clear();
    Append(text);
    scrolledToEnd_ = text.empty();
  }
  const std::string& text() const { return text_; }
  bool scrolledToEnd() const { return scrolledToEnd_; }

 private:
  static constexpr char kMessage = 'm', kRecord = 'r';

  void Add(std::string_view text, char kind) {
    text_.append(text);
    kinds_.append(text.size(), kind);
    scrolledToEnd_ = false;
  }

  std::string text_;
  std::string kinds_;  // kMessage or kRecord for each byte of text_
  bool scrolledToEnd_ = true;
  std::function<void()> removed_;
};

class FakePopUpList final : public platform::PopUpList {
 public:
  void AddItem(std::string_view title, std::string_view detail) override {
    items_.emplace_back(title);
    details_.emplace_back(detail);
    if (items_.size() == 1) Select(0);
  }
  void RemoveItem(std::int32_t position) override {
    if (!Exists(position)) return;
    items_.erase(items_.begin() + position);
    details_.erase(details_.begin() + position);
    if (position > selected_) return;
    const bool hasSuccessor = position == selected_ && Exists(position);
    Select(hasSuccessor ? position : selected_ - 1);
  }
  void SelectItem(std::int32_t position) override {
    const std::int32_t wanted = Exists(position) ? position : -1;
    if (wanted != selected_) Select(wanted);
  }
  std::int32_t NumberOfItems() const override { return static_cast<std::int32_t>(items_.size()); }
  std::string ItemTitle(std::int32_t position) const override {
    return Exists(position) ? items_[static_cast<std::size_t>(position)] : std::string();
  }
  std::int32_t SelectedItem() const override { return selected_; }
  void OnSelection(std::function<void(std::int32_t)> action) override {
    action_ = std::move(action);
  }
  const std::vector<std::string>& items() const { return items_; }
  const std::vector<std::string>& details() const { return details_; }

 private:
  bool Exists(std::int32_t position) const { return position >= 0 && position < NumberOfItems(); }
  void Select(std::int32_t position) {
    selected_ = position;
    if (action_) action_(position);
  }

  std::vector<std::string> items_;
  std::vector<std::string> details_;  // one per item
  std::int32_t selected_ = -1;
  std::function<void(std::int32_t)> action_;
};

class FakeToolbarItem final : public platform::ToolbarItem {
 public:
  explicit FakeToolbarItem(std::string_view label) : label_(label) {}
  void SetLabel(std::string_view label) override { label_ = label; }
  void OnPress(std::function<void()> action) override { action_ = std::move(action); }
  void Press() {
    if (action_) action_();
  }
  const std::string& label() const { return label_; }

 private:
  std::string label_;
  std::function<void()> action_;
};

class FakeWindow final : public platform::Window {
 public:
  void SetTitle(std::string_view title) override { title_ = title; }
  void OnClose(std::function<void()> action) override { action_ = std::move(action); }
  void OrderFront() override { Do("front", true); }
  void MakeKeyAndOrderFront() override { Do("key", true); }
  void Close() override { Do("close", false); }
  void CloseByUser() {
    if (const auto action = action_; action && !std::exchange(closed_, true)) action();
    shown_ = false;
  }
  const std::string& title() const { return title_; }

  /// The calls to OrderFront ("front"), MakeKeyAndOrderFront ("key") and Close ("close"), in order.
  const std::vector<std::string>& doings() const { return doings_; }
  bool IsShown() const { return shown_; }

 private:
  void Do(const char* what, bool shown) {
    doings_.emplace_back(what);
    shown_ = shown;
  }

  std::vector<std::string> doings_;
  std::string title_;
  std::function<void()> action_;
  bool shown_ = false;
  bool closed_ = false;
};

class FakeStatusDisplay final : public platform::StatusDisplay {
 public:
  void Show(std::string_view text, std::optional<double> fraction,
            const std::vector<platform::StripAction>& actions) override {
    text_ = text;
    fraction_ = fraction;
    actions_ = actions;
  }
  const std::string& text() const { return text_; }
  std::optional<double> fraction() const { return fraction_; }
  /// The displayed message, or "" while progress is shown.
  std::string Message() const { return fraction_ ? std::string() : text_; }
  /// The titles of the buttons.
  std::vector<std::string> Buttons() const {
    std::vector<std::string> titles;
    for (const auto& action : actions_) titles.push_back(action.title);
    return titles;
  }
  /// Presses a button. Throws std::out_of_range if there is no such button.
  void Press(std::size_t position) { std::function<void()>(actions_.at(position).run)(); }

 private:
  std::string text_;
  std::optional<double> fraction_;
  std::vector<platform::StripAction> actions_;
};

}  // namespace quillet::test
