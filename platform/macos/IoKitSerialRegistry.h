#pragma once

#include <IOKit/IOKitLib.h>

#include <map>
#include <memory>
#include <vector>

#include "platform/SerialRegistry.h"
#include "platform/macos/CfText.h"

namespace quillet::platform::macos {

/// The serial devices known to I/O Kit, with their names and callout paths. Main thread only.
///
/// Notifications arrive through the run loop of the thread that creates a port, in its default
/// mode. While a modal panel or menu is open, the toolkit's main loop runs in another mode and
/// notifications are delayed.
class IoKitSerialRegistry final : public SerialRegistry {
 public:
  IoKitSerialRegistry() = default;
  /// Destroys the remaining ports.
  ~IoKitSerialRegistry() override;

  /// Names are the values of the property "IOTTYDevice", and paths are the values of
  /// "IOCalloutDevice". Both are in the order of I/O Kit's iterator. A service without a path is
  /// not counted, but its name may be left in `names` after the counted names.
  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override;
  NotifyPort CreateNotifyPort() override;
  Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                 void* context) override;
  Handle Next(Handle iterator) override {
    return iterator == IO_OBJECT_NULL ? 0 : IOIteratorNext(iterator);
  }
  void Release(Handle handle) override;
  void DestroyNotifyPort(NotifyPort port) override;

 private:
  using Matching = CfOwner<CFMutableDictionaryRef>;

  struct Registration {
    Callback callback;  // empty after the iterator has been released
    void* context = nullptr;
    io_iterator_t iterator = IO_OBJECT_NULL;
  };

  struct Port {
    // Unused references to the same dictionary. Each registration consumes one reference.
    std::vector<Matching> matching;
    // Kept until the port is destroyed, because a pending notification may refer to a registration
    // whose iterator has been released.
    std::vector<std::unique_ptr<Registration>> registrations;
  };

  static void HandleNotification(void* registration, io_iterator_t iterator);
  static Matching MakeMatching();
  static Matching TakeMatching(Port& port);
  bool FindMasterPort();

  mach_port_t masterPort_ = MACH_PORT_NULL;
  std::map<NotifyPort, Port> ports_;
};

}  // namespace quillet::platform::macos
