#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/DescriptorWatch.h"
#include "platform/SerialRegistry.h"
#include "platform/linux/SerialStreams.h"

namespace quillet::platform::linux_desktop {

/// The serial stream devices that udev knows, through libudev. Needs no privilege. Main thread
/// only.
///
/// While a notification port exists, a device is read from the moment its arrival is notified until
/// the moment its removal is notified. A device that is unplugged and plugged in again at once is
/// therefore absent while its removal is handled, even if sysfs already shows the new one. Events
/// of a device whose arrival was notified before, or never, are ignored.
///
/// Without udevd, the kernel's events and the plain attributes in sysfs are used.
///
/// Handles count upwards and repeat only after 2^32 of them: a released handle refers to nothing.
class UdevSerialRegistry final : public SerialRegistry {
 public:
  /// @param watcher  the main loop; outlives this object
  explicit UdevSerialRegistry(DescriptorWatcher& watcher);
  ~UdevSerialRegistry() override;

  /// Names and order are those of SerialStreams.h; a path is the device's node under /dev.
  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override;
  NotifyPort CreateNotifyPort() override;
  Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                 void* context) override;
  Handle Next(Handle iterator) override;
  void Release(Handle handle) override;
  void DestroyNotifyPort(NotifyPort port) override;

 private:
  /// The devices whose arrival was notified, by their path in sysfs, with SerialStream::since.
  using ToldDevices = std::map<std::string, std::string>;

  struct Iterator {
    NotifyPort port;
    Event event;
    Callback callback;
    void* context;
    std::size_t waiting;  // objects; they carry nothing but their handle
    bool armed;
  };

  Handle NewHandle();
  void Post(Event event);
  bool StartMonitor();
  void StopMonitor();
  void HandleEvent();
  void HandleArrival(SerialStream stream);
  void HandleRemoval(const std::string& systemPath);
  void CompareAfterLoss();

  DescriptorWatcher& watcher_;
  const UdevOwner<udev> udev_;
  std::set<NotifyPort> ports_;
  std::map<Handle, Iterator> iterators_;
  NotifyPort lastPort_ = 0;
  Handle lastHandle_ = 0;
  ToldDevices told_;
  // The watch is destroyed before the monitor, whose descriptor it watches.
  UdevOwner<udev_monitor> monitor_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace quillet::platform::linux_desktop
