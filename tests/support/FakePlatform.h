#pragma once

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/Applications.h"
#include "platform/KeyEvents.h"
#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"
#include "platform/Ticker.h"
#include "platform/Workspace.h"
#include "tests/support/FakeControls.h"
#include "tests/support/FakePanels.h"
#include "tests/support/FakeRegistry.h"

namespace quillet::test {

/// A main queue that runs its work when the test calls RunAll.
class FakeMainQueue final : public platform::MainQueue {
 public:
  void Async(std::function<void()> work) override {
    const std::lock_guard lock(mutex_);
    if (!ended_) work_.push_back(std::move(work));
  }

  /// Runs the queued work. A nested call does nothing.
  void RunAll() {
    if (std::exchange(running_, true)) return;
    while (const auto next = Take()) next();
    running_ = false;
  }

  std::size_t Size() {
    const std::lock_guard lock(mutex_);
    return work_.size();
  }

  /// Ends the main loop: drops the queued work and all later work.
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

/// A ticker that ticks when the test calls Tick.
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

struct FakeWorkspace final : platform::Workspace {
  void ActivateIgnoringOtherApps() override { ++activations; }
  bool IsActive() override { return active; }
  void ShowInFolder(const std::string& path) override { shownInFolder.push_back(path); }
  void OpenFile(const std::string& path) override { openedFiles.push_back(path); }

  int activations = 0;
  bool active = false;                     ///< whether a window of the program has focus
  std::vector<std::string> shownInFolder;  ///< paths passed to ShowInFolder
  std::vector<std::string> openedFiles;    ///< paths passed to OpenFile
};

class FakeKeyEvents final : public platform::KeyEvents {
 public:
  void Post(std::span<const platform::KeyEvent> events) override {
    posts_.emplace_back(events.begin(), events.end());
    if (onPost) onPost();
  }
  std::string Untypable(std::string_view text) override {
    std::string missing;
    for (const char character : untypable) {
      if (text.find(character) != std::string_view::npos) missing += character;
    }
    return missing;
  }
  void Prepare() override { ++prepared; }
  void Recover() override { ++recovered; }
  void AwaitReadiness() override { ++awaited; }
  void OnReadiness(const std::function<void(const std::string&)>& changed) override {
    onReadiness = changed;
  }
  std::string Problem() override { return problem; }
  std::string InputMethod() override { return inputMethod; }
  /// Returns the events passed to each call to Post.
  const std::vector<std::vector<platform::KeyEvent>>& posts() const { return posts_; }

  std::function<void()> onPost;                         ///< called after each call to Post
  std::function<void(const std::string&)> onReadiness;  ///< set by OnReadiness
  std::string problem;                                  ///< returned by Problem
  std::string inputMethod;                              ///< returned by InputMethod
  std::string untypable;                                ///< characters that cannot be typed
  std::atomic<int> prepared = 0;                        ///< number of calls to Prepare
  std::atomic<int> awaited = 0;                         ///< number of calls to AwaitReadiness
  int recovered = 0;                                    ///< number of calls to Recover

 private:
  std::vector<std::vector<platform::KeyEvent>> posts_;
};

class FakePasteboard final : public platform::Pasteboard {
 public:
  bool SetString(std::string_view text) override {
    if (!takes) return false;
    texts_.emplace_back(text);
    if (onSet) onSet();
    return true;
  }
  /// Returns all texts that were set, in order.
  const std::vector<std::string>& texts() const { return texts_; }

  bool takes = true;            ///< whether SetString succeeds
  std::function<void()> onSet;  ///< called after SetString has succeeded

 private:
  std::vector<std::string> texts_;
};

/// Applications that the test installs. After an application is opened, the first
/// `looksBeforeListed` calls to LaunchedApplications return an empty list.
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
  bool opens = true;  ///< whether OpenApplication succeeds
  int looksBeforeListed = 0;
  std::vector<std::string>
      running;  ///< applications reported as running; includes those that were opened
  std::vector<std::string> opened;  ///< paths passed to OpenApplication
  int looks = 0;                    ///< number of calls to LaunchedApplications

 private:
  int looksLeft_ = 0;
};

}  // namespace quillet::test
