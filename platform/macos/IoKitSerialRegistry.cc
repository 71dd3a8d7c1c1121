#include "platform/macos/IoKitSerialRegistry.h"

#include <algorithm>
#include <utility>

namespace quillet::platform::macos {
namespace {

// The class of serial clients and its properties, as <IOKit/serial/IOSerialKeys.h> has them. With
// the type "IOSerialStream" the system matches streams of every type; a scanner may be any of them.
constexpr char kSerialService[] = "IOSerialBSDClient";
constexpr char kTypeKey[] = "IOSerialBSDClientType";
constexpr char kStreamType[] = "IOSerialStream";
constexpr char kNameKey[] = "IOTTYDevice";
constexpr char kCalloutKey[] = "IOCalloutDevice";

// The kinds of notification, as <IOKit/IOKitKeys.h> has them.
constexpr char kFirstMatch[] = "IOServiceFirstMatch";
constexpr char kTerminate[] = "IOServiceTerminate";

IONotificationPortRef AsPort(SerialRegistry::NotifyPort port) {
  return reinterpret_cast<IONotificationPortRef>(port);
}

const char* KindOf(SerialRegistry::Event event) {
  return event == SerialRegistry::Event::FirstMatch ? kFirstMatch : kTerminate;
}

std::optional<std::string> Property(io_registry_entry_t service, const char* key) {
  constexpr IOOptionBits kNoOptions = 0;
  const CfOwner<CFTypeRef> value(IORegistryEntryCreateCFProperty(service, MakeString(key).get(),
                                                                 kCFAllocatorDefault, kNoOptions));
  return TextOf(value.get());
}

}  // namespace

IoKitSerialRegistry::~IoKitSerialRegistry() {
  while (!ports_.empty()) DestroyNotifyPort(ports_.begin()->first);
}

std::int32_t IoKitSerialRegistry::ReadSerialStreams(std::span<std::string> names,
                                                    std::span<std::string> paths) {
  if (!FindMasterPort()) return 0;
  Matching matching = MakeMatching();
  if (matching == nullptr) return 0;
  io_iterator_t iterator = IO_OBJECT_NULL;
  // Takes over the dictionary's reference, also when it fails. There may be no iterator where there
  // are no services.
  if (IOServiceGetMatchingServices(masterPort_, matching.release(), &iterator) != KERN_SUCCESS ||
      iterator == IO_OBJECT_NULL) {
    return 0;
  }
  const std::size_t room = std::min(names.size(), paths.size());
  std::size_t count = 0;
  while (count < room) {
    const io_object_t service = IOIteratorNext(iterator);
    if (service == IO_OBJECT_NULL) break;
    if (auto name = Property(service, kNameKey)) {
      names[count] = *std::move(name);
      if (auto path = Property(service, kCalloutKey)) paths[count++] = *std::move(path);
    }
    IOObjectRelease(service);
  }
  IOObjectRelease(iterator);
  return static_cast<std::int32_t>(count);
}

SerialRegistry::NotifyPort IoKitSerialRegistry::CreateNotifyPort() {
  const IONotificationPortRef created = IONotificationPortCreate(kIOMasterPortDefault);
  if (created == nullptr) return 0;
  CFRunLoopAddSource(CFRunLoopGetCurrent(), IONotificationPortGetRunLoopSource(created),
                     kCFRunLoopDefaultMode);
  const auto port = reinterpret_cast<NotifyPort>(created);
  ports_.try_emplace(port);
  return port;
}

SerialRegistry::Handle IoKitSerialRegistry::AddMatchingNotification(NotifyPort port, Event event,
                                                                    Callback callback,
                                                                    void* context) {
  const auto found = ports_.find(port);
  if (found == ports_.end() || callback == nullptr) return 0;
  Matching matching = TakeMatching(found->second);
  if (matching == nullptr) return 0;
  auto registration = std::make_unique<Registration>(
      Registration{.callback = std::move(callback), .context = context});
  // Takes over one reference to the dictionary, also when it fails.
  if (IOServiceAddMatchingNotification(AsPort(port), KindOf(event), matching.release(), &HandleNews,
                                       registration.get(),
                                       &registration->iterator) != KERN_SUCCESS) {
    return 0;
  }
  return found->second.registrations.emplace_back(std::move(registration))->iterator;
}

SerialRegistry::Handle IoKitSerialRegistry::Next(Handle iterator) {
  return iterator == IO_OBJECT_NULL ? 0 : IOIteratorNext(iterator);
}

void IoKitSerialRegistry::Release(Handle handle) {
  if (handle == IO_OBJECT_NULL) return;
  // The handle's number may be given out again once it is free.
  for (auto& [port, entry] : ports_) {
    for (const auto& registration : entry.registrations) {
      if (registration->iterator == handle) *registration = {};
    }
  }
  IOObjectRelease(handle);
}

void IoKitSerialRegistry::DestroyNotifyPort(NotifyPort port) {
  const auto found = ports_.find(port);
  if (found == ports_.end()) return;
  CFRunLoopRemoveSource(CFRunLoopGetCurrent(), IONotificationPortGetRunLoopSource(AsPort(port)),
                        kCFRunLoopDefaultMode);
  IONotificationPortDestroy(AsPort(port));
  ports_.erase(found);
}

/// What I/O Kit calls, from the run loop. The callback may do anything, releasing the iterator and
/// destroying the port included, so it is called by a copy.
void IoKitSerialRegistry::HandleNews(void* registration, io_iterator_t iterator) {
  const Registration called = *static_cast<const Registration*>(registration);
  if (called.callback) called.callback(called.context, iterator);
}

/// @return a dictionary that matches serial stream devices, null when none can be made
IoKitSerialRegistry::Matching IoKitSerialRegistry::MakeMatching() {
  Matching matching(IOServiceMatching(kSerialService));
  if (matching != nullptr) {
    CFDictionarySetValue(matching.get(), MakeString(kTypeKey).get(), MakeString(kStreamType).get());
  }
  return matching;
}

/// The reference that the next registration will consume. A dictionary serves both kinds of event,
/// so one extra reference is taken to it.
IoKitSerialRegistry::Matching IoKitSerialRegistry::TakeMatching(Port& port) {
  if (port.matching.empty()) {
    Matching first = MakeMatching();
    if (first == nullptr) return first;
    CFRetain(first.get());
    port.matching.emplace_back(first.get());
    port.matching.push_back(std::move(first));
  }
  Matching matching = std::move(port.matching.back());
  port.matching.pop_back();
  return matching;
}

/// The port to I/O Kit is asked for until it has been got, and kept then: each call of IOMasterPort
/// makes one more reference to it that would have to be given back.
bool IoKitSerialRegistry::FindMasterPort() {
  return masterPort_ != MACH_PORT_NULL ||
         IOMasterPort(MACH_PORT_NULL, &masterPort_) == KERN_SUCCESS;
}

}  // namespace quillet::platform::macos
