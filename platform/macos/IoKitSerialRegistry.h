#pragma once

#include <IOKit/IOKitLib.h>

#include <map>
#include <memory>
#include <vector>

#include "platform/SerialRegistry.h"
#include "platform/macos/CfText.h"

namespace quillet::platform::macos {

/// The serial stream devices that I/O Kit knows: services of the class of serial clients whose type
/// is a stream, by their names and callout paths. Main thread only.
///
/// Notifications come through the run loop of the thread that creates a port, in its default mode;
/// the toolkit's main loop is that run loop. While a modal panel or a menu is open, the loop runs
/// in another mode, and the news waits until that has ended.
class IoKitSerialRegistry final : public SerialRegistry {
 public:
  IoKitSerialRegistry() = default;

  /// Gives back what was not: a port that was not destroyed, and references no registration took.
  ~IoKitSerialRegistry() override;

  IoKitSerialRegistry(const IoKitSerialRegistry&) = delete;
  IoKitSerialRegistry& operator=(const IoKitSerialRegistry&) = delete;

  /// Names and paths are the properties "IOTTYDevice" and "IOCalloutDevice", the order is that of
  /// the registry's iterator. A service with a name and no path leaves its name behind the others.
  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override;
  NotifyPort CreateNotifyPort() override;
  Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                 void* context) override;
  Handle Next(Handle iterator) override;
  void Release(Handle handle) override;
  void DestroyNotifyPort(NotifyPort port) override;

 private:
  using Matching = CfOwner<CFMutableDictionaryRef>;

  // What I/O Kit is given to remember a registration by.
  struct Registration {
    Callback callback;  // empty once the iterator was released
    void* context = nullptr;
    io_iterator_t iterator = IO_OBJECT_NULL;
  };

  // The registrations stay as long as the port: news that is already on its way when an iterator is
  // released still names one of them.
  struct Port {
    std::vector<Matching> matching;  // references to one dictionary, one for each registration
    std::vector<std::unique_ptr<Registration>> registrations;
  };

  static void HandleNews(void* registration, io_iterator_t iterator);
  static Matching MakeMatching();
  static Matching TakeMatching(Port& port);
  bool FindMasterPort();

  mach_port_t masterPort_ = MACH_PORT_NULL;
  std::map<NotifyPort, Port> ports_;
};

}  // namespace quillet::platform::macos
