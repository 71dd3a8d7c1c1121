#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/SerialRegistry.h"

namespace quillet::test {

/// A registry of serial devices that the test plugs in and removes.
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

  platform::PortObstacle Inspect(const std::string&) override {
    if (onInspect) onInspect();
    return obstacle;
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
    Attach(name, path);
    Notify(Event::FirstMatch);
  }

  void Unplug(const std::string& path) {
    if (std::erase_if(devices_, [&](const Device& device) { return device.path == path; }) > 0) {
      Notify(Event::Terminate);
    }
  }

  /// Adds a device without notifying the program.
  void Attach(const std::string& name, const std::string& path) {
    devices_.push_back({name, path});
  }

  platform::PortObstacle obstacle;  ///< result of Inspect
  std::function<void()> onInspect;  ///< called by Inspect

  bool HasPort() const { return !ports_.empty(); }
  std::size_t iterators() const { return iterators_.size(); }
  /// Returns the number of objects that Next has returned and the program has not yet released.
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
    std::size_t objects;  // number of objects that Next has not returned yet
    bool armed;
  };

  // A callback may release iterators, so the armed handles are collected before the first call.
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
