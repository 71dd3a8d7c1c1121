#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/DescriptorWatch.h"
#include "platform/SerialRegistry.h"
#include "platform/linux/PortInspection.h"
#include "platform/linux/SerialStreams.h"

namespace quillet::platform::linux_desktop {

/// Serial devices from libudev, or from sysfs and kernel events if udevd is not running. Needs no
/// privileges. Main thread only.
///
/// While a notification port exists, a device is listed from its arrival notification to its
/// removal notification. While a removal is handled, the device is therefore not listed, even if
/// the user has already plugged it in again. Arrivals of listed devices and removals of unlisted
/// devices are ignored.
///
/// Handles are not reused until 2^32 have been created.
class UdevSerialRegistry final : public SerialRegistry {
 public:
  /// @param watcher  watches for events in the main loop; must outlive this object
  explicit UdevSerialRegistry(DescriptorWatcher& watcher);
  ~UdevSerialRegistry() override;

  /// Names and order are described in SerialStreams.h; paths are device nodes under /dev.
  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override;
  PortObstacle Inspect(const std::string& path) override { return InspectPort(path); }
  NotifyPort CreateNotifyPort() override;
  Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                 void* context) override;
  Handle Next(Handle iterator) override;
  void Release(Handle handle) override;
  void DestroyNotifyPort(NotifyPort port) override;

 private:
  // Maps the sysfs path of each reported device to its SerialStream::since.
  using NotifiedDevices = std::map<std::string, std::string>;

  struct Iterator {
    NotifyPort port;
    Event event;
    Callback callback;
    void* context;
    std::size_t waiting;  // number of objects not yet returned by Next
    bool armed;
  };

  Handle NewHandle();
  void Post(Event event);
  bool StartMonitor();
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
  NotifiedDevices notified_;
  // Declared before watch_, which must be destroyed first.
  UdevOwner<udev_monitor> monitor_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace quillet::platform::linux_desktop
