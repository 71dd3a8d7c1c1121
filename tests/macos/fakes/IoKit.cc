// Fake I/O Kit: the service registry and its notifications.

#include <IOKit/IOKitLib.h>

#include <deque>

#include "tests/macos/fakes/Fakes.h"

struct IONotificationPort {
  CFRunLoopSourceRef source;
  std::deque<io_iterator_t> pending;  // iterators with a pending callback
};

namespace quillet::macos_tests {
namespace {

constexpr mach_port_t kMasterPort = 4711;
constexpr kern_return_t kFailure = 5;  // KERN_FAILURE (mach/kern_return.h)

struct Source final : Object {};

struct Iterator {
  std::deque<std::size_t> services;
  std::string serviceClass;
  std::string type;
  // Only notification iterators use the following fields.
  IONotificationPortRef port = nullptr;
  std::string kind;
  IOServiceMatchingCallback callback = nullptr;
  void* context = nullptr;
  bool armed = false;

  // "IOSerialStream" is the value of kIOSerialBSDAllTypes (IOKit/serial/IOSerialKeys.h). This value
  // matches streams of every type.
  bool Matches(const Service& service) const {
    return service.serviceClass == serviceClass &&
           (type.empty() || type == "IOSerialStream" || service.type == type);
  }
};

// Handles that the program has not yet released.
std::map<io_object_t, std::size_t> objects;  // service number of each handle
std::map<io_iterator_t, Iterator> iterators;
std::set<IONotificationPortRef> ports;
io_object_t lastHandle = 100;

// Creates an iterator from a matching dictionary and releases the dictionary.
Iterator IteratorOf(CFDictionaryRef matching, bool withPresent) {
  const auto& dictionary = As<Dictionary>(matching);
  Iterator iterator;
  iterator.serviceClass = dictionary.Text("IOProviderClass");
  iterator.type = dictionary.Text("IOSerialBSDClientType");
  const auto& services = TheMac().services;
  for (std::size_t i = 0; withPresent && i < services.size(); ++i) {
    if (services[i].present && iterator.Matches(services[i])) iterator.services.push_back(i);
  }
  CFRelease(matching);
  return iterator;
}

io_iterator_t Add(Iterator iterator) {
  iterators.emplace(++lastHandle, std::move(iterator));
  return lastHandle;
}

void Announce(const std::string& kind, std::size_t number) {
  for (auto& [handle, iterator] : iterators) {
    if (iterator.kind != kind || !iterator.Matches(TheMac().services[number])) continue;
    iterator.services.push_back(number);
    if (iterator.armed) iterator.port->pending.push_back(handle);
    iterator.armed = false;
  }
}

// Calls at most one pending callback, because the callback may change `ports`.
bool DeliverOne() {
  for (const IONotificationPortRef port : ports) {
    if (port->pending.empty() || !IsOnRunLoop(port->source)) continue;
    const io_iterator_t handle = port->pending.front();
    port->pending.pop_front();
    if (iterators.contains(handle)) CallbackOf(handle)();
    return true;
  }
  return false;
}

}  // namespace

std::size_t Plug(Service service) {
  TheMac().services.push_back(std::move(service));
  Announce("IOServiceFirstMatch", TheMac().services.size() - 1);
  return TheMac().services.size() - 1;
}

void Unplug(std::size_t number) {
  TheMac().services.at(number).present = false;
  Announce("IOServiceTerminate", number);
}

int RunLoopTurn() {
  int callbacks = 0;
  while (DeliverOne()) ++callbacks;
  return callbacks;
}

std::function<void()> CallbackOf(std::uint32_t handle) {
  const Iterator& iterator = iterators.at(handle);
  return [callback = iterator.callback, context = iterator.context, handle] {
    callback(context, handle);
  };
}

std::size_t HandlesHeld() {
  return objects.size() + iterators.size();
}

std::size_t NotifyPorts() {
  return ports.size();
}

}  // namespace quillet::macos_tests

using namespace quillet::macos_tests;

extern "C" {

const mach_port_t kIOMasterPortDefault = MACH_PORT_NULL;

kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort) {
  Called("IOMasterPort");
  EXPECT_EQ(bootstrapPort, static_cast<mach_port_t>(MACH_PORT_NULL));
  if (TheMac().masterPortFails) return kFailure;
  *masterPort = kMasterPort;
  return KERN_SUCCESS;
}

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  Called(std::string("IOServiceMatching ") + name);
  if (TheMac().matchingFails) return nullptr;
  const auto dictionary = Make<CFMutableDictionaryRef, Dictionary>();
  const auto serviceClass = Make<CFStringRef, String>(name);
  As<Dictionary>(dictionary).values["IOProviderClass"] = Hold(serviceClass);
  CFRelease(serviceClass);
  return dictionary;
}

kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
  Called("IOServiceGetMatchingServices " + As<Dictionary>(matching).Text("IOSerialBSDClientType"));
  EXPECT_EQ(masterPort, kMasterPort);
  Iterator iterator = IteratorOf(matching, true);
  if (TheMac().matchingServicesFails) return kFailure;
  *existing = iterator.services.empty() ? IO_OBJECT_NULL : Add(std::move(iterator));
  return KERN_SUCCESS;
}

io_object_t IOIteratorNext(io_iterator_t handle) {
  const auto found = iterators.find(handle);
  EXPECT_NE(found, iterators.end()) << "the iterator was released";
  if (found == iterators.end()) return IO_OBJECT_NULL;
  Iterator& iterator = found->second;
  iterator.armed = iterator.services.empty();
  if (iterator.armed) {
    Called("IOIteratorNext: no more");
    return IO_OBJECT_NULL;
  }
  objects.emplace(++lastHandle, iterator.services.front());
  iterator.services.pop_front();
  return lastHandle;
}

kern_return_t IOObjectRelease(io_object_t handle) {
  if (const auto found = iterators.find(handle); found != iterators.end()) {
    const std::string& kind = found->second.kind;
    Called("IOObjectRelease iterator" + (kind.empty() ? "" : " " + kind));
  }
  if (iterators.erase(handle) + objects.erase(handle) > 0) return KERN_SUCCESS;
  ADD_FAILURE() << "the object was released already";
  return KERN_INVALID_NAME;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t handle, CFStringRef key,
                                          CFAllocatorRef, IOOptionBits options) {
  EXPECT_EQ(options, 0U);
  const Service& service = TheMac().services.at(objects.at(handle));
  const bool isName = As<String>(key).text == "IOTTYDevice";
  EXPECT_TRUE(isName || As<String>(key).text == "IOCalloutDevice");
  if (isName && !service.nameIsString) return Make<CFTypeRef, Array>();
  const auto& value = isName ? service.name : service.path;
  return value ? Make<CFTypeRef, String>(*value) : nullptr;
}

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort) {
  Called("IONotificationPortCreate");
  EXPECT_EQ(masterPort, kIOMasterPortDefault);
  if (TheMac().notifyPortFails) return nullptr;
  return *ports.insert(new IONotificationPort{Make<CFRunLoopSourceRef, Source>(), {}}).first;
}

void IONotificationPortDestroy(IONotificationPortRef port) {
  Called("IONotificationPortDestroy");
  ASSERT_EQ(ports.erase(port), 1U) << "the port was destroyed already";
  for (const auto& [handle, iterator] : iterators) {
    EXPECT_NE(iterator.port, port) << "an iterator outlives its port";
  }
  EXPECT_FALSE(IsOnRunLoop(port->source)) << "the source outlives its port";
  CFRelease(port->source);
  delete port;
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
  EXPECT_TRUE(ports.contains(port)) << "the port was destroyed";
  return port->source;
}

kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t kind,
                                               CFDictionaryRef matching,
                                               IOServiceMatchingCallback callback, void* context,
                                               io_iterator_t* notification) {
  Called(std::string("IOServiceAddMatchingNotification ") + kind + " " +
         As<Dictionary>(matching).Text("IOSerialBSDClientType"));
  EXPECT_TRUE(ports.contains(port)) << "the port was destroyed";
  Iterator iterator = IteratorOf(matching, std::string(kind) == "IOServiceFirstMatch");
  if (TheMac().registrationFails) return kFailure;
  iterator.port = port;
  iterator.kind = kind;
  iterator.callback = callback;
  iterator.context = context;
  *notification = Add(std::move(iterator));
  return KERN_SUCCESS;
}

}  // extern "C"
