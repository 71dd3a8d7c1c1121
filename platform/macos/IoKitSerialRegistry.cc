#include "platform/macos/IoKitSerialRegistry.h"

#include <algorithm>
#include <utility>

namespace quillet::platform::macos {
namespace {

// From <IOKit/serial/IOSerialKeys.h>. The type "IOSerialStream" matches all types of streams.
constexpr char kSerialService[] = "IOSerialBSDClient";
constexpr char kTypeKey[] = "IOSerialBSDClientType";
constexpr char kStreamType[] = "IOSerialStream";
constexpr char kNameKey[] = "IOTTYDevice";
constexpr char kCalloutKey[] = "IOCalloutDevice";

// From <IOKit/IOKitKeys.h>.
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
  // This call consumes the dictionary even on failure. It may return no iterator if no service
  // matches.
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
  // This call consumes one reference to the dictionary even on failure.
  if (IOServiceAddMatchingNotification(AsPort(port), KindOf(event), matching.release(),
                                       &HandleNotification, registration.get(),
                                       &registration->iterator) != KERN_SUCCESS) {
    return 0;
  }
  return found->second.registrations.emplace_back(std::move(registration))->iterator;
}

void IoKitSerialRegistry::Release(Handle handle) {
  if (handle == IO_OBJECT_NULL) return;
  // Clears the registration, because a new iterator may get the same handle as the old one.
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

// Called from the run loop. Calls a copy of the callback, because the callback may release the
// iterator or destroy the port.
void IoKitSerialRegistry::HandleNotification(void* registration, io_iterator_t iterator) {
  const Registration called = *static_cast<const Registration*>(registration);
  if (called.callback) called.callback(called.context, iterator);
}

// Returns a dictionary that matches serial devices, or null on failure.
IoKitSerialRegistry::Matching IoKitSerialRegistry::MakeMatching() {
  Matching matching(IOServiceMatching(kSerialService));
  if (matching != nullptr) {
    CFDictionarySetValue(matching.get(), MakeString(kTypeKey).get(), MakeString(kStreamType).get());
  }
  return matching;
}

// Returns a reference to a matching dictionary. The next registration consumes the reference. Each
// dictionary is shared by two registrations.
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

// Does not call IOMasterPort again after it has succeeded, because every successful call adds a
// reference to the port.
bool IoKitSerialRegistry::FindMasterPort() {
  return masterPort_ != MACH_PORT_NULL ||
         IOMasterPort(MACH_PORT_NULL, &masterPort_) == KERN_SUCCESS;
}

}  // namespace quillet::platform::macos
