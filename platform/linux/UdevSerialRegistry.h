#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/DescriptorWatch.h"
#include "platform/SerialRegistry.h"
#include "platform/linux/NotificationTable.h"
#include "platform/linux/SerialStreams.h"

namespace quillet::platform::linux_desktop {

/// The serial stream devices that udev knows, over libudev. Needs no privilege. Main thread only.
///
/// What is read agrees with what has been told: while a notification port exists, a device is
/// read from the moment at which its arrival is notified to the moment at which its removal is.
/// A device that is unplugged and plugged in again at once is therefore not there while its
/// removal is handled, although sysfs may show the new one already.
///
/// An event that udev sends for a device whose arrival was told before, or was never told, is not
/// news.
///
/// Where udevd does not run, the kernel's own events and the plain attributes in sysfs take its
/// place.
class UdevSerialRegistry final : public SerialRegistry {
 public:
  /// @param watcher  the main loop; outlives this object
  explicit UdevSerialRegistry(DescriptorWatcher& watcher);
  ~UdevSerialRegistry() override;

  /// The names are those of DeviceNames.h, the order is ComesBefore of the kernel's names, a path
  /// is the device's node under /dev.
  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override;
  NotifyPort CreateNotifyPort() override;
  Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                 void* context) override;
  Handle Next(Handle iterator) override;
  void Release(Handle handle) override;
  void DestroyNotifyPort(NotifyPort port) override;

 private:
  /// The devices that have been told, by their path in sysfs, with SerialStream::since.
  using ToldDevices = std::map<std::string, std::string>;

  bool StartMonitor();
  void StopMonitor();
  void HandleEvent();
  void HandleArrival(SerialStream stream);
  void HandleRemoval(const std::string& system_path);
  void CompareAfterLoss();

  DescriptorWatcher& watcher_;
  const UdevOwner<udev> udev_;
  NotificationTable notifications_;
  ToldDevices told_;
  // The watch goes before the monitor, whose descriptor it watches.
  UdevOwner<udev_monitor> monitor_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace quillet::platform::linux_desktop
