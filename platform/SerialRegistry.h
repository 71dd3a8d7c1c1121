#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace quillet::platform {

/// The system's registry of serial stream devices, and its news of their arrival and removal.
/// All calls, and all callbacks, are on the main thread.
///
/// Notifications are passed through iterators: a callback receives an iterator, takes every object
/// off it with Next and releases each. Next arms the notification again when it returns 0; until
/// then no further callback is made for that iterator.
class SerialRegistry {
 public:
  /// A handle of an iterator or of an object taken from one; 0 is none.
  using Handle = std::uint32_t;
  /// A handle of a notification port; 0 is none.
  using NotifyPort = std::uintptr_t;
  /// Called with the context given at registration and the iterator that has news.
  using Callback = std::function<void(void* context, Handle iterator)>;

  /// What there is news of.
  enum class Event {
    FirstMatch,  ///< a serial stream device has arrived
    Terminate,   ///< a serial stream device has gone; it is no longer enumerated
  };

  virtual ~SerialRegistry() = default;

  /// Reads the serial stream devices present now, in a stable order: virtual consoles and
  /// placeholders for hardware that is not there are none.
  /// @param names  receives each device's name, as the user's system shows it
  /// @param paths  receives each device's path, to be opened
  /// @return how many devices were read, at most the smaller of the two sizes; 0 when the
  ///         registry cannot be reached.
  virtual std::int32_t ReadSerialStreams(std::span<std::string> names,
                                         std::span<std::string> paths) = 0;

  /// Creates a notification port and adds its source to the main thread's loop.
  /// @return the port, or 0 when the system has no such service at the moment.
  virtual NotifyPort CreateNotifyPort() = 0;

  /// Registers for one kind of event on the port.
  /// @return an iterator that holds the devices present already; nothing is notified until it has
  ///         been emptied. 0 when the registration was refused.
  virtual Handle AddMatchingNotification(NotifyPort port, Event event, Callback callback,
                                         void* context) = 0;

  /// Takes the next object off an iterator; 0 when it is empty.
  virtual Handle Next(Handle iterator) = 0;

  /// Releases an object or an iterator. A released iterator notifies no more.
  virtual void Release(Handle handle) = 0;

  /// Removes the port's source from the main loop and destroys the port.
  virtual void DestroyNotifyPort(NotifyPort port) = 0;
};

}  // namespace quillet::platform
