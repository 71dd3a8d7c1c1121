#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Controls.h"

namespace quillet::test {

class FakeTextView final : public platform::TextView {
 public:
  void Append(std::string_view text) override {
    text_.append(text);
    scrolledToEnd_ = false;
  }
  void ScrollToEnd() override { scrolledToEnd_ = true; }
  void SetText(std::string_view text) override {
    text_ = text;
    scrolledToEnd_ = text.empty();
  }
  const std::string& text() const { return text_; }
  bool scrolledToEnd() const { return scrolledToEnd_; }

 private:
  std::string text_;
  bool scrolledToEnd_ = true;
};

class FakePopUpList final : public platform::PopUpList {
 public:
  void AddItem(std::string_view title) override {
    items_.emplace_back(title);
    if (items_.size() == 1) Select(0);
  }
  void RemoveItem(std::int32_t position) override {
    if (!Exists(position)) return;
    items_.erase(items_.begin() + position);
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

 private:
  bool Exists(std::int32_t position) const { return position >= 0 && position < NumberOfItems(); }
  void Select(std::int32_t position) {
    selected_ = position;
    if (action_) action_(position);
  }

  std::vector<std::string> items_;
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

  /// Calls made by the program, in order: "front", "key" or "close".
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

class FakeProgressDisplay final : public platform::ProgressDisplay {
 public:
  void Show(std::string_view text, double fraction) override {
    text_ = text;
    fraction_ = fraction;
    shown_ = true;
    isMessage_ = false;
  }
  void ShowMessage(std::string_view text) override {
    Show(text, 0);
    isMessage_ = true;
  }
  void Hide() override {
    Show("", 0);
    shown_ = false;
  }
  const std::string& text() const { return text_; }
  double fraction() const { return fraction_; }
  bool IsShown() const { return shown_ && !isMessage_; }
  /// The message, or an empty text while progress is shown.
  std::string Message() const { return isMessage_ ? text_ : std::string(); }

 private:
  bool shown_ = false;
  bool isMessage_ = false;
  std::string text_;
  double fraction_ = 0;
};

}  // namespace quillet::test
