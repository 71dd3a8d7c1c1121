#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace quillet::macos_tests {

// Objects of the fake frameworks. Their retain counts are checked: releasing a destroyed object
// fails the test, and leaked ones are counted. One thread.

/// An object with a retain count, initially one.
struct Object {
  Object();
  virtual ~Object();
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  int references = 1;
};

/// A retained reference.
using Held = std::shared_ptr<const void>;
inline Held Hold(CFTypeRef object) {
  return {CFRetain(object), CFRelease};
}

struct String final : Object {
  explicit String(std::string value) : text(std::move(value)) {}
  const std::string text;
};

struct Array final : Object {
  std::vector<Held> elements;
};

struct Dictionary final : Object {
  /// The text under a key, empty if there is none.
  std::string Text(const std::string& key) const;

  std::map<std::string, Held> values;
};

/// The object that a reference of any framework's type denotes.
template <typename Kind>
Kind& As(const void* reference) {
  return dynamic_cast<Kind&>(*static_cast<Object*>(const_cast<void*>(reference)));
}

/// Creates an object. The caller owns the reference, of whatever type the framework gives it.
template <typename Reference, typename Kind, typename... Arguments>
Reference Make(Arguments&&... arguments) {
  Object* const object = new Kind(std::forward<Arguments>(arguments)...);
  return static_cast<Reference>(static_cast<void*>(object));
}

/// A service in the registry of I/O Kit.
struct Service {
  std::optional<std::string> name;  ///< property "IOTTYDevice"
  std::optional<std::string> path;  ///< property "IOCalloutDevice"
  std::string type = "IOSerialStream";
  std::string serviceClass = "IOSerialBSDClient";
  bool nameIsString = true;  ///< a faulty driver may put another object there
  bool present = true;
};

/// A posted keyboard event.
struct PostedKey {
  int tap = -1;
  std::uint16_t key = 0;
  bool down = false;
  std::uint64_t flags = 0;
  bool flagsWereSet = false;
  int sourceState = -1;  ///< -1 for an event without a source

  bool operator==(const PostedKey&) const = default;
};

/// State of the fake frameworks.
struct Mac {
  std::vector<std::string> calls;  ///< called functions in order, some with arguments

  std::vector<Service> services;  ///< of I/O Kit, by number
  bool masterPortFails = false;
  bool matchingFails = false;          ///< no dictionary
  bool matchingServicesFails = false;  ///< no iterator of the present services
  bool notifyPortFails = false;
  bool registrationFails = false;

  std::vector<PostedKey> posted;
  bool hasSources = true;
  bool hasEvents = true;
  bool mayPost = true;
  int requests = 0;  ///< how often the user was asked for permission to post

  std::set<std::string> installed;   ///< paths of applications
  std::vector<std::string> opened;   ///< every successful call
  std::vector<std::string> running;  ///< in the order of the workspace's list
  bool opens = true;
  bool listsNameless = false;  ///< the workspace also lists an application without a path
  bool listsNothing = false;   ///< the workspace has no list

  std::vector<std::string> declaredTypes;  ///< of the pasteboard
  std::string pasteboardOwner;             ///< the class of its owner, empty for none
  std::optional<std::string> pasteboardText;
  int activations = 0;  ///< how often the application came forward even if another was active
};
Mac& TheMac();

/// A service appears; the notification waits for the run loop. Returns its number.
std::size_t Plug(Service service);
/// A service disappears; the notification waits for the run loop.
void Unplug(std::size_t number);
/// One turn of this thread's run loop. Returns the number of callbacks that were called.
int RunLoopTurn();
/// The callback of an iterator, which can be called even after the iterator was released.
std::function<void()> CallbackOf(std::uint32_t iterator);
/// Whether this thread's run loop has the source in its default mode.
bool IsOnRunLoop(CFRunLoopSourceRef source);

std::size_t LiveObjects();
std::size_t HandlesHeld();
std::size_t NotifyPorts();
std::size_t OpenPools();

/// Resets the fakes for a test. At its end each reference must have been released.
struct Account {
  Account() { TheMac() = {}; }
  ~Account() {
    EXPECT_EQ(LiveObjects(), objectsBefore) << "objects were not released";
    EXPECT_EQ(HandlesHeld(), 0U) << "handles were not released";
    EXPECT_EQ(NotifyPorts(), 0U) << "a port was not destroyed";
    EXPECT_EQ(OpenPools(), 0U) << "a pool was not drained";
  }
  Account(const Account&) = delete;
  Account& operator=(const Account&) = delete;

  const std::size_t objectsBefore = LiveObjects();
};

}  // namespace quillet::macos_tests
