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

// The fake frameworks and the objects that their references point to. Releasing a destroyed object
// fails the test. A leak also fails the test (see Account). Call all functions on one thread.

/// An object with a retain count, initially 1.
struct Object {
  Object();
  virtual ~Object();
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  int references = 1;
};

/// A retained reference. Releases the object when destroyed.
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
  /// Returns the text stored under a key, or "".
  std::string Text(const std::string& key) const;

  std::map<std::string, Held> values;
};

/// Returns the object that a framework reference refers to. Throws std::bad_cast if it is not a
/// `Kind`.
template <typename Kind>
Kind& As(const void* reference) {
  return dynamic_cast<Kind&>(*static_cast<Object*>(const_cast<void*>(reference)));
}

/// Creates an object owned by the caller. Returns it as the framework's reference type.
template <typename Reference, typename Kind, typename... Arguments>
Reference Make(Arguments&&... arguments) {
  Object* const object = new Kind(std::forward<Arguments>(arguments)...);
  return static_cast<Reference>(static_cast<void*>(object));
}

/// A service in the I/O Kit registry.
struct Service {
  std::optional<std::string> name;  ///< property "IOTTYDevice"
  std::optional<std::string> path;  ///< property "IOCalloutDevice"
  std::string type = "IOSerialStream";
  std::string serviceClass = "IOSerialBSDClient";
  bool nameIsString = true;  ///< the name is a string; false simulates a faulty driver
  bool present = true;
};

/// A posted keyboard event.
struct PostedKey {
  int tap = -1;
  std::uint16_t key = 0;
  bool down = false;
  std::uint64_t flags = 0;
  bool flagsWereSet = false;
  int sourceState = -1;  ///< -1: the event has no source
  std::int64_t userData = 0;
  std::u16string text = {};  ///< text that replaces the key's text; empty if none was set

  bool operator==(const PostedKey&) const = default;
};

/// State of the fake frameworks.
struct Mac {
  std::vector<std::string> calls;  ///< functions called, in order; some with arguments

  std::vector<Service> services;  ///< I/O Kit registry; the index is the service's number
  bool masterPortFails = false;
  bool matchingFails = false;          ///< IOServiceMatching fails
  bool matchingServicesFails = false;  ///< IOServiceGetMatchingServices fails
  bool notifyPortFails = false;
  bool registrationFails = false;

  std::vector<PostedKey> posted;
  bool hasSources = true;
  bool hasEvents = true;
  bool mayPost = true;
  int requests = 0;  ///< number of CGRequestPostEventAccess calls

  std::set<std::string> installed;   ///< paths of installed applications
  std::vector<std::string> opened;   ///< paths of successful LSOpenApplication calls
  std::vector<std::string> running;  ///< paths of the running applications
  bool opens = true;                 ///< false: LSOpenApplication fails
  bool listsNameless = false;        ///< the workspace also lists an application without a path
  bool listsNothing = false;         ///< the workspace returns nil instead of a list

  std::vector<std::string> declaredTypes;  ///< types on the pasteboard
  std::string pasteboardOwner;             ///< class of the pasteboard's owner, "" if none
  std::optional<std::string> pasteboardText;
  int activations = 0;                     ///< number of activateIgnoringOtherApps: calls with YES
  bool active = false;                     ///< the result of isActive
  std::vector<std::string> openedFiles;    ///< arguments of openFile:
  std::vector<std::string> selectedFiles;  ///< arguments of selectFile:inFileViewerRootedAtPath:
};
Mac& TheMac();

/// Records a function call.
inline void Called(const std::string& call) {
  TheMac().calls.push_back(call);
}

/// Adds a service and queues its notification for the run loop. Returns the service's number.
std::size_t Plug(Service service);
/// Removes a service and queues its notification for the run loop.
void Unplug(std::size_t number);
/// Runs this thread's run loop until no callback is pending. Returns the number of callbacks.
int RunLoopTurn();
/// Returns an iterator's callback. The callback can be called even after the iterator is released.
std::function<void()> CallbackOf(std::uint32_t iterator);
/// Returns true if the source is in the default mode of this thread's run loop.
bool IsOnRunLoop(CFRunLoopSourceRef source);

std::size_t LiveObjects();
std::size_t HandlesHeld();
std::size_t NotifyPorts();
std::size_t OpenPools();

/// Resets the fakes when created. When destroyed, fails the test if a reference was not released.
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
