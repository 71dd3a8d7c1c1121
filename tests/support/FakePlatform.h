#pragma once

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/Applications.h"
#include "platform/Controls.h"
#include "platform/KeyEvents.h"
#include "platform/MainQueue.h"
#include "platform/Panels.h"
#include "platform/Pasteboard.h"
#include "platform/SerialRegistry.h"
#include "platform/Ticker.h"
#include "platform/Workspace.h"

namespace quillet::test {

/// A main queue that the test empties.
class FakeMainQueue final : public platform::MainQueue {
 public:
  void Async(std::function<void()> work) override {
    const std::lock_guard lock(mutex_);
    if (!ended_) work_.push_back(std::move(work));
  }

  /// Runs what is queued. Work that calls this runs nothing else, as on any serial queue.
  void RunAll() {
    if (std::exchange(running_, true)) return;
    while (const auto next = Take()) next();
    running_ = false;
  }

  /// Ends the main loop: drops what is queued, and what will be.
  void End() {
    std::deque<std::function<void()>> dropped;
    const std::lock_guard lock(mutex_);
    ended_ = true;
    dropped.swap(work_);
  }

 private:
  std::function<void()> Take() {
    const std::lock_guard lock(mutex_);
    if (work_.empty()) return nullptr;
    auto next = std::move(work_.front());
    work_.pop_front();
    return next;
  }

  std::mutex mutex_;
  std::deque<std::function<void()>> work_;
  bool ended_ = false;
  bool running_ = false;
};

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
    const bool takesItsPlace = position == selected_ && Exists(position);
    Select(takesItsPlace ? position : selected_ - 1);
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

  /// "front", "key" and "close" in the order of the calls.
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
  }
  void Hide() override {
    Show("", 0);
    shown_ = false;
  }
  const std::string& text() const { return text_; }
  double fraction() const { return fraction_; }
  bool IsShown() const { return shown_; }

 private:
  bool shown_ = false;
  std::string text_;
  double fraction_ = 0;
};

/// Panels that end at once with the answer that the test has laid down.
class FakePanels final : public platform::Panels {
 public:
  std::optional<std::string> RunSavePanel(const std::string& folder,
                                          const std::string& name) override {
    runs_.push_back("save|" + folder + "|" + name);
    return answer;
  }
  std::optional<std::string> RunOpenPanel(const std::string& folder,
                                          const std::string& name) override {
    runs_.push_back("open|" + folder + "|" + name);
    return answer;
  }

  /// Each panel that was run: its kind, folder and proposed name.
  const std::vector<std::string>& runs() const { return runs_; }

  std::optional<std::string> answer;

 private:
  std::vector<std::string> runs_;
};

/// A ticker that ticks when the test says so.
class FakeTicker final : public platform::Ticker {
 public:
  void Start(std::chrono::milliseconds, std::function<void()> action) override {
    action_ = std::move(action);
  }
  void Stop() override { action_ = nullptr; }
  void Tick() {
    if (const auto action = action_) action();
  }
  bool IsRunning() const { return action_ != nullptr; }

 private:
  std::function<void()> action_;
};

class FakeWorkspace final : public platform::Workspace {
 public:
  void ActivateIgnoringOtherApps() override { ++activations_; }
  int activations() const { return activations_; }

 private:
  int activations_ = 0;
};

/// Keeps what was posted, each call by itself.
class FakeKeyEvents final : public platform::KeyEvents {
 public:
  void Post(std::span<const platform::KeyEvent> events) override {
    posts_.emplace_back(events.begin(), events.end());
    if (onPost) onPost();
  }
  const std::vector<std::vector<platform::KeyEvent>>& posts() const { return posts_; }

  std::function<void()> onPost;  ///< called behind each call

 private:
  std::vector<std::vector<platform::KeyEvent>> posts_;
};

/// Keeps every text that was put on it.
class FakePasteboard final : public platform::Pasteboard {
 public:
  bool SetString(std::string_view text) override {
    if (!takes) return false;
    texts_.emplace_back(text);
    if (onSet) onSet();
    return true;
  }
  const std::vector<std::string>& texts() const { return texts_; }

  bool takes = true;            ///< whether texts come there
  std::function<void()> onSet;  ///< called behind each that does

 private:
  std::vector<std::string> texts_;
};

/// Applications that the test installs. One appears in the list after so many looks at it.
class FakeApplications final : public platform::Applications {
 public:
  bool HasApplication(const std::string& path) override { return installed.contains(path); }
  bool OpenApplication(const std::string& path) override {
    opened.push_back(path);
    if (!opens || !installed.contains(path)) return false;
    if (std::find(running.begin(), running.end(), path) != running.end()) return true;
    looksLeft_ = looksBeforeListed;
    running.push_back(path);
    return true;
  }
  std::vector<std::string> LaunchedApplications() override {
    ++looks;
    if (looksLeft_-- > 0) return {};
    return running;
  }

  std::set<std::string> installed;
  bool opens = true;
  int looksBeforeListed = 0;         ///< looks at the list that do not show a new application yet
  std::vector<std::string> running;  ///< besides, each that was opened
  std::vector<std::string> opened;   ///< every call
  int looks = 0;                     ///< how often the list was looked at

 private:
  int looksLeft_ = 0;
};

/// Serial stream devices that the test plugs in and out.
class FakeRegistry final : public platform::SerialRegistry {
 public:
  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override {
    const std::size_t count = std::min({devices_.size(), names.size(), paths.size()});
    for (std::size_t i = 0; i < count; ++i) {
      names[i] = devices_[i].name;
      paths[i] = devices_[i].path;
    }
    return static_cast<std::int32_t>(count);
  }

  NotifyPort CreateNotifyPort() override { return *ports_.insert(++lastPort_).first; }

  Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                 void* context) override {
    if (!ports_.contains(port) || !callback) return 0;
    const std::size_t present = event == Event::FirstMatch ? devices_.size() : 0;
    iterators_.emplace(++lastHandle_,
                       Iterator{port, event, std::move(callback), context, present, false});
    return lastHandle_;
  }

  Handle Next(Handle handle) override {
    const auto found = iterators_.find(handle);
    if (found == iterators_.end()) return 0;
    Iterator& iterator = found->second;
    iterator.armed = iterator.objects == 0;
    if (iterator.armed) return 0;
    --iterator.objects;
    return *objects_.insert(++lastHandle_).first;
  }

  void Release(Handle handle) override {
    if (objects_.erase(handle) == 0) iterators_.erase(handle);
  }

  void DestroyNotifyPort(NotifyPort port) override {
    ports_.erase(port);
    std::erase_if(iterators_, [&](const auto& entry) { return entry.second.port == port; });
  }

  void Plug(const std::string& name, const std::string& path) {
    devices_.push_back({name, path});
    Notify(Event::FirstMatch);
  }

  void Unplug(const std::string& path) {
    if (std::erase_if(devices_, [&](const Device& device) { return device.path == path; }) > 0) {
      Notify(Event::Terminate);
    }
  }

  /// Present before the program starts: no news of it.
  void Attach(const std::string& name, const std::string& path) {
    devices_.push_back({name, path});
  }

  bool HasPort() const { return !ports_.empty(); }
  std::size_t iterators() const { return iterators_.size(); }
  /// Objects that were taken off an iterator and not released.
  int objectsHeld() const { return static_cast<int>(objects_.size()); }

 private:
  struct Device {
    std::string name, path;
  };
  struct Iterator {
    NotifyPort port;
    Event event;
    Callback callback;
    void* context;
    std::size_t objects;  // that wait to be taken
    bool armed;
  };

  // A callback may release any iterator and destroy the port.
  void Notify(Event event) {
    std::vector<Handle> armed;
    for (auto& [handle, iterator] : iterators_) {
      if (iterator.event != event) continue;
      ++iterator.objects;
      if (std::exchange(iterator.armed, false)) armed.push_back(handle);
    }
    for (const Handle handle : armed) {
      const auto found = iterators_.find(handle);
      if (found == iterators_.end()) continue;
      const Iterator called = found->second;
      called.callback(called.context, handle);
    }
  }

  std::vector<Device> devices_;
  std::set<NotifyPort> ports_;
  std::map<Handle, Iterator> iterators_;
  std::set<Handle> objects_;
  NotifyPort lastPort_ = 0;
  Handle lastHandle_ = 0;
};

}  // namespace quillet::test
