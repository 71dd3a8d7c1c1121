#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace quillet::platform {

/// The reason why a serial port cannot be used.
struct PortObstacle {
  /// Kind of reason.
  enum class Kind {
    kNone,        ///< no known reason
    kPermission,  ///< the user has no permission to open the port
    kForbidden,   ///< a rule other than the port's permissions forbids opening it
    kBusy,        ///< another program uses the port
  };

  Kind kind = Kind::kNone;   ///< what prevents the port from being used
  std::string group = {};    ///< kPermission: the group that may use the port; empty if none
  bool joined = false;       ///< kPermission: the user has joined the group since logging in
  std::string program = {};  ///< kBusy: name of the program that uses the port; empty if unknown
};

/// The system's serial devices and notifications of their arrival and removal. All calls and
/// callbacks are on the main thread, except Inspect.
///
/// A callback receives an iterator. It must call Next until Next returns 0, and must release each
/// object that Next returns. When Next returns 0, the notification is armed again. Until then, the
/// callback is not called for this iterator.
class SerialRegistry {
 public:
  /// Identifies an iterator or an object returned by Next; 0 is invalid.
  using Handle = std::uint32_t;
  /// Identifies a notification port; 0 is invalid.
  using NotifyPort = std::uintptr_t;
  /// Receives the context given at registration and an iterator over the devices that were added or
  /// removed.
  using Callback = std::function<void(void* context, Handle iterator)>;

  /// Kind of notification.
  enum class Event {
    FirstMatch,  ///< a device was added
    Terminate,   ///< a device was removed and is no longer listed
  };

  virtual ~SerialRegistry() = default;

  /// Lists the serial devices in a stable order. Omits virtual consoles and ports without hardware.
  /// @param names  receives the devices' display names
  /// @param paths  receives the devices' paths
  /// @return the number of devices listed, at most the size of the smaller span; 0 if the registry
  ///         is not available
  virtual std::int32_t ReadSerialStreams(std::span<std::string> names,
                                         std::span<std::string> paths) = 0;

  /// Finds out why a port cannot be used. Opens the port briefly. Takes up to 0.3 s, or minutes if
  /// the system's user database does not respond. Any thread.
  /// @param path  path of the port; must not be open in this process
  virtual PortObstacle Inspect([[maybe_unused]] const std::string& path) { return {}; }

  /// Creates a notification port and adds it to the main loop.
  /// @return the port, or 0 if the system's device service is not available
  virtual NotifyPort CreateNotifyPort() = 0;

  /// Registers a callback for one kind of event.
  /// @return an iterator over the devices already present, which the caller must empty to arm the
  ///         notification; 0 if the system refused
  virtual Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                         void* context) = 0;

  /// Removes the next object from an iterator and returns it, or 0 if the iterator is empty.
  virtual Handle Next(Handle iterator) = 0;

  /// Releases an object or an iterator. Releasing an iterator ends its notifications.
  virtual void Release(Handle handle) = 0;

  /// Removes a port from the main loop and destroys it.
  virtual void DestroyNotifyPort(NotifyPort port) = 0;
};

}  // namespace quillet::platform
