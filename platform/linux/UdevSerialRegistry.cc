#include "platform/linux/UdevSerialRegistry.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>
#include <vector>

namespace quillet::platform::linux_desktop {

UdevSerialRegistry::UdevSerialRegistry(DescriptorWatcher& watcher)
    : watcher_(watcher), udev_(udev_new()) {}

UdevSerialRegistry::~UdevSerialRegistry() = default;

std::int32_t UdevSerialRegistry::ReadSerialStreams(std::span<std::string> names,
                                                   std::span<std::string> paths) {
  if (udev_ == nullptr) return 0;
  const std::size_t room = std::min(names.size(), paths.size());
  std::size_t count = 0;
  for (SerialStream& stream : ListSerialStreams(udev_.get())) {
    if (count == room) break;
    if (monitor_ != nullptr && !notified_.contains(stream.systemPath)) continue;
    names[count] = std::move(stream.name);
    paths[count] = std::move(stream.node);
    ++count;
  }
  return static_cast<std::int32_t>(count);
}

SerialRegistry::NotifyPort UdevSerialRegistry::CreateNotifyPort() {
  if (monitor_ == nullptr && !StartMonitor()) return 0;
  return *ports_.insert(++lastPort_).first;
}

SerialRegistry::Handle UdevSerialRegistry::AddMatchingNotification(NotifyPort port, Event event,
                                                                   Callback callback,
                                                                   void* context) {
  if (!ports_.contains(port) || callback == nullptr) return 0;
  const Handle handle = NewHandle();
  const std::size_t present = event == Event::FirstMatch ? notified_.size() : 0;
  iterators_.emplace(handle, Iterator{port, event, std::move(callback), context, present, false});
  return handle;
}

SerialRegistry::Handle UdevSerialRegistry::Next(Handle iterator) {
  const auto found = iterators_.find(iterator);
  if (found == iterators_.end()) return 0;
  Iterator& entry = found->second;
  entry.armed = entry.waiting == 0;
  if (entry.armed) return 0;
  --entry.waiting;
  return NewHandle();
}

void UdevSerialRegistry::Release(Handle handle) {
  iterators_.erase(handle);
}

void UdevSerialRegistry::DestroyNotifyPort(NotifyPort port) {
  ports_.erase(port);
  std::erase_if(iterators_, [port](const auto& entry) { return entry.second.port == port; });
  if (!ports_.empty()) return;
  watch_.reset();
  monitor_.reset();
  notified_.clear();
}

SerialRegistry::Handle UdevSerialRegistry::NewHandle() {
  do {
    ++lastHandle_;
  } while (lastHandle_ == 0 || iterators_.contains(lastHandle_));
  return lastHandle_;
}

// A callback may call any function of this class. If a callback releases an iterator, that
// iterator's callback is no longer called.
void UdevSerialRegistry::Post(Event event) {
  std::vector<Handle> toCall;
  for (auto& [handle, entry] : iterators_) {
    if (entry.event != event) continue;
    ++entry.waiting;
    if (std::exchange(entry.armed, false)) toCall.push_back(handle);
  }
  for (const Handle handle : toCall) {
    const auto found = iterators_.find(handle);
    if (found == iterators_.end()) continue;
    const Iterator called = found->second;
    called.callback(called.context, handle);
  }
}

bool UdevSerialRegistry::StartMonitor() {
  if (udev_ == nullptr) return false;
  // udev sends an event when a device is ready for use. The kernel sends an event as soon as the
  // device exists.
  const char* const source = UdevIsActive(udev_.get()) ? "udev" : "kernel";
  UdevOwner<udev_monitor> monitor(udev_monitor_new_from_netlink(udev_.get(), source));
  if (monitor == nullptr ||
      udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "tty", nullptr) < 0 ||
      udev_monitor_enable_receiving(monitor.get()) < 0) {
    return false;
  }
  monitor_ = std::move(monitor);
  watch_ = watcher_.Watch(udev_monitor_get_fd(monitor_.get()), [this] { HandleEvent(); });
  // The devices are listed after the monitor is enabled, so no device is missed. Duplicate events
  // are ignored.
  for (const SerialStream& stream : ListSerialStreams(udev_.get())) {
    notified_.emplace(stream.systemPath, stream.since);
  }
  return true;
}

// Handles one event per iteration of the main loop, because a callback may destroy the port.
void UdevSerialRegistry::HandleEvent() {
  const UdevOwner<udev_device> device(udev_monitor_receive_device(monitor_.get()));
  if (device == nullptr) {
    if (errno == ENOBUFS) CompareAfterLoss();
    return;
  }
  const char* const action = udev_device_get_action(device.get());
  const char* const systemPath = udev_device_get_syspath(device.get());
  if (action == nullptr || systemPath == nullptr) return;
  if (std::string_view(action) == "remove") {
    HandleRemoval(systemPath);
  } else if (auto stream = ReadSerialStream(udev_.get(), systemPath)) {
    HandleArrival(*std::move(stream));
  }
}

void UdevSerialRegistry::HandleArrival(SerialStream stream) {
  const auto [place, isNew] =
      notified_.emplace(std::move(stream.systemPath), std::move(stream.since));
  if (isNew) Post(Event::FirstMatch);
}

void UdevSerialRegistry::HandleRemoval(const std::string& systemPath) {
  if (notified_.erase(systemPath) > 0) Post(Event::Terminate);
}

// Called after ENOBUFS: the socket buffer was full and the kernel dropped events (netlink(7)).
// Discards the queued events, which are outdated. Then compares the current devices with the
// reported devices and posts the missing events.
void UdevSerialRegistry::CompareAfterLoss() {
  while (UdevOwner<udev_device>(udev_monitor_receive_device(monitor_.get())) != nullptr ||
         errno == ENOBUFS) {
  }
  std::vector<SerialStream> present = ListSerialStreams(udev_.get());
  NotifiedDevices gone = notified_;
  for (const SerialStream& stream : present) {
    const auto same = gone.find(stream.systemPath);
    if (same != gone.end() && same->second == stream.since) gone.erase(same);
  }
  // A callback may destroy the port and with it the monitor.
  for (const auto& [systemPath, since] : gone) {
    if (monitor_ != nullptr) HandleRemoval(systemPath);
  }
  for (SerialStream& stream : present) {
    if (monitor_ != nullptr) HandleArrival(std::move(stream));
  }
}

}  // namespace quillet::platform::linux_desktop
