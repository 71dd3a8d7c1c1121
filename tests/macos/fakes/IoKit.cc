#include "tests/macos/fakes/IoKit.h"

#include <IOKit/IOKitLib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "tests/macos/fakes/Objects.h"
#include "tests/macos/fakes/RunLoop.h"

struct IONotificationPort {
  CFRunLoopSourceRef source;
  std::deque<io_iterator_t> news;  // iterators whose callback is still to be made
};

namespace quillet::macos_tests {
namespace {

constexpr mach_port_t kMasterPort = 4711;
constexpr kern_return_t kFailure = 5;  // KERN_FAILURE (mach/kern_return.h)

struct Entry {
  Service service;
  bool present = true;
  bool nameIsNoString = false;
};

struct Iterator {
  std::deque<int> services;
  // Of a notification only.
  IONotificationPortRef port = nullptr;
  std::string kind;
  std::string serviceClass;
  std::string type;
  IOServiceMatchingCallback callback = nullptr;
  void* context = nullptr;
  bool armed = false;
};

struct Registry {
  std::vector<Entry> entries;
  std::map<io_object_t, int> objects;  // taken off an iterator: which service it is
  std::map<io_iterator_t, Iterator> iterators;
  std::set<IONotificationPortRef> ports;
  io_object_t lastHandle = 100;
};

Registry& TheRegistry() {
  static auto& registry = *new Registry;
  return registry;
}

/// <IOKit/serial/IOSerialKeys.h> names the type "IOSerialStream" kIOSerialBSDAllTypes: a dictionary
/// with it matches the streams of every type.
bool Matches(const Service& service, const std::string& serviceClass, const std::string& type) {
  return service.serviceClass == serviceClass &&
         (type.empty() || type == "IOSerialStream" || service.type == type);
}

/// An iterator of the services that a dictionary matches; takes over a reference to it.
Iterator IteratorOf(CFDictionaryRef matching, bool withThosePresent) {
  const auto& dictionary = As<Dictionary>(matching);
  Iterator iterator;
  iterator.serviceClass = dictionary.Text("IOProviderClass");
  iterator.type = dictionary.Text("IOSerialBSDClientType");
  const auto& entries = TheRegistry().entries;
  for (std::size_t i = 0; withThosePresent && i < entries.size(); ++i) {
    if (entries[i].present && Matches(entries[i].service, iterator.serviceClass, iterator.type)) {
      iterator.services.push_back(static_cast<int>(i));
    }
  }
  CFRelease(matching);
  return iterator;
}

io_iterator_t Add(Iterator iterator) {
  Registry& registry = TheRegistry();
  registry.iterators.emplace(++registry.lastHandle, std::move(iterator));
  return registry.lastHandle;
}

void Announce(const std::string& kind, int number) {
  Registry& registry = TheRegistry();
  const Service& service = registry.entries.at(static_cast<std::size_t>(number)).service;
  for (auto& [handle, iterator] : registry.iterators) {
    if (iterator.kind != kind || !Matches(service, iterator.serviceClass, iterator.type)) continue;
    iterator.services.push_back(number);
    if (std::exchange(iterator.armed, false)) iterator.port->news.push_back(handle);
  }
}

/// Takes one callback off a port's news and makes it. @return false when there was none
bool DeliverOne() {
  Registry& registry = TheRegistry();
  for (const IONotificationPortRef port : registry.ports) {
    if (port->news.empty() || !IsOnRunLoop(port->source)) continue;
    const io_iterator_t handle = port->news.front();
    port->news.pop_front();
    const auto found = registry.iterators.find(handle);
    if (found == registry.iterators.end()) return true;
    const auto [callback, context] = std::pair(found->second.callback, found->second.context);
    callback(context, handle);
    return true;
  }
  return false;
}

}  // namespace

IoKit& IoKit::Shared() {
  static auto& shared = *new IoKit;
  return shared;
}

void IoKit::Reset() {
  TheRegistry().entries.clear();
  faults = {};
}

int IoKit::Attach(Service service) {
  TheRegistry().entries.push_back({.service = std::move(service)});
  return static_cast<int>(TheRegistry().entries.size()) - 1;
}

int IoKit::Plug(Service service) {
  const int number = Attach(std::move(service));
  Announce("IOServiceFirstMatch", number);
  return number;
}

void IoKit::Unplug(int number) {
  TheRegistry().entries.at(static_cast<std::size_t>(number)).present = false;
  Announce("IOServiceTerminate", number);
}

void IoKit::SpoilName(int number) {
  TheRegistry().entries.at(static_cast<std::size_t>(number)).nameIsNoString = true;
}

int IoKit::RunLoopTurn() {
  int callbacks = 0;
  while (DeliverOne()) ++callbacks;
  return callbacks;
}

std::function<void()> IoKit::CallbackOf(std::uint32_t handle) const {
  const Iterator& iterator = TheRegistry().iterators.at(handle);
  return [callback = iterator.callback, context = iterator.context, handle] {
    callback(context, handle);
  };
}

std::size_t IoKit::HandlesHeld() const {
  return TheRegistry().objects.size() + TheRegistry().iterators.size();
}

std::size_t IoKit::Ports() const {
  return TheRegistry().ports.size();
}

}  // namespace quillet::macos_tests

using namespace quillet::macos_tests;

extern "C" {

const mach_port_t kIOMasterPortDefault = MACH_PORT_NULL;

kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort) {
  Called("IOMasterPort");
  EXPECT_EQ(bootstrapPort, static_cast<mach_port_t>(MACH_PORT_NULL));
  if (IoKit::Shared().faults.masterPort) return kFailure;
  *masterPort = kMasterPort;
  return KERN_SUCCESS;
}

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  Called(std::string("IOServiceMatching ") + name);
  if (IoKit::Shared().faults.matching) return nullptr;
  auto& dictionary = *new Dictionary;
  auto& serviceClass = *new String(name);
  dictionary.Set("IOProviderClass", ReferenceTo(serviceClass));
  CFRelease(ReferenceTo(serviceClass));
  return reinterpret_cast<CFMutableDictionaryRef>(static_cast<Object*>(&dictionary));
}

kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
  Called("IOServiceGetMatchingServices " + As<Dictionary>(matching).Text("IOSerialBSDClientType"));
  EXPECT_EQ(masterPort, kMasterPort);
  Iterator iterator = IteratorOf(matching, true);
  if (IoKit::Shared().faults.matchingServices) return kFailure;
  *existing = iterator.services.empty() ? IO_OBJECT_NULL : Add(std::move(iterator));
  return KERN_SUCCESS;
}

io_object_t IOIteratorNext(io_iterator_t handle) {
  Registry& registry = TheRegistry();
  const auto found = registry.iterators.find(handle);
  if (found == registry.iterators.end()) {
    ADD_FAILURE() << "an iterator that is gone";
    return IO_OBJECT_NULL;
  }
  Iterator& iterator = found->second;
  iterator.armed = iterator.services.empty();
  if (iterator.armed) {
    Called("IOIteratorNext: no more");
    return IO_OBJECT_NULL;
  }
  registry.objects.emplace(++registry.lastHandle, iterator.services.front());
  iterator.services.pop_front();
  return registry.lastHandle;
}

kern_return_t IOObjectRelease(io_object_t handle) {
  Registry& registry = TheRegistry();
  if (const auto iterator = registry.iterators.find(handle); iterator != registry.iterators.end()) {
    Called(iterator->second.kind.empty() ? "IOObjectRelease iterator"
                                         : "IOObjectRelease iterator " + iterator->second.kind);
  }
  if (registry.iterators.erase(handle) + registry.objects.erase(handle) > 0) return KERN_SUCCESS;
  ADD_FAILURE() << "an object is released that nobody holds";
  return KERN_INVALID_NAME;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t handle, CFStringRef key,
                                          CFAllocatorRef, IOOptionBits options) {
  EXPECT_EQ(options, 0U);
  const auto number = static_cast<std::size_t>(TheRegistry().objects.at(handle));
  const Entry& entry = TheRegistry().entries.at(number);
  const std::string& property = As<String>(key).text;
  if (property == "IOTTYDevice" && entry.nameIsNoString) return ReferenceTo(*new Array);
  const auto& value = property == "IOTTYDevice"       ? entry.service.name
                      : property == "IOCalloutDevice" ? entry.service.path
                                                      : std::nullopt;
  return value ? ReferenceTo(*new String(*value)) : nullptr;
}

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort) {
  Called("IONotificationPortCreate");
  EXPECT_EQ(masterPort, kIOMasterPortDefault);
  if (IoKit::Shared().faults.notifyPort) return nullptr;
  auto& source = *new Source;
  auto* const port = new IONotificationPort{
      .source = reinterpret_cast<CFRunLoopSourceRef>(static_cast<Object*>(&source)), .news = {}};
  TheRegistry().ports.insert(port);
  return port;
}

void IONotificationPortDestroy(IONotificationPortRef port) {
  Called("IONotificationPortDestroy");
  ASSERT_EQ(TheRegistry().ports.erase(port), 1U) << "a port that is gone";
  for (const auto& [handle, iterator] : TheRegistry().iterators) {
    EXPECT_NE(iterator.port, port) << "an iterator would outlive its port";
  }
  EXPECT_FALSE(IsOnRunLoop(port->source)) << "the run loop would outlive its source's port";
  CFRelease(port->source);
  delete port;
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
  EXPECT_TRUE(TheRegistry().ports.contains(port)) << "a port that is gone";
  return port->source;
}

kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t kind,
                                               CFDictionaryRef matching,
                                               IOServiceMatchingCallback callback, void* context,
                                               io_iterator_t* notification) {
  Called(std::string("IOServiceAddMatchingNotification ") + kind + " " +
         As<Dictionary>(matching).Text("IOSerialBSDClientType"));
  EXPECT_TRUE(TheRegistry().ports.contains(port)) << "a port that is gone";
  Iterator iterator = IteratorOf(matching, std::string(kind) == "IOServiceFirstMatch");
  if (IoKit::Shared().faults.registration) return kFailure;
  iterator.port = port;
  iterator.kind = kind;
  iterator.callback = callback;
  iterator.context = context;
  *notification = Add(std::move(iterator));
  return KERN_SUCCESS;
}

}  // extern "C"
