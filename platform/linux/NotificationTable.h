#pragma once

#include <cstddef>
#include <map>
#include <set>

#include "platform/SerialRegistry.h"

namespace quillet::platform::linux_desktop {

/// The notification ports, their iterators and what waits on them: SerialRegistry's rules on
/// when a callback is made, apart from where the events come from. Main thread only.
///
/// Handles count upwards and are not used twice within 2^32 of them, so that a handle that was
/// released means nothing any more instead of something else.
class NotificationTable {
 public:
  using Handle = SerialRegistry::Handle;
  using NotifyPort = SerialRegistry::NotifyPort;
  using Event = SerialRegistry::Event;
  using Callback = SerialRegistry::Callback;

  /// @return the new port, never 0
  NotifyPort AddPort();

  /// Removes a port with all its iterators. An unknown port does nothing.
  void RemovePort(NotifyPort port);

  bool HasPorts() const { return !ports_.empty(); }

  /// @param port      the port that it belongs to
  /// @param event     what it has news of
  /// @param callback  called with `context` and the iterator when there is some
  /// @param context   handed on
  /// @param present   how many objects the iterator holds from the start
  /// @return the iterator, not armed yet; 0 when there is no such port or no callback
  Handle AddIterator(NotifyPort port, Event event, Callback callback, void* context,
                     std::size_t present);

  /// Takes an object off an iterator. The iterator is armed as soon as nothing is left on it.
  /// @return the object, 0 when there is none or no such iterator
  Handle Next(Handle iterator);

  /// Releases an iterator or an object; a handle that is neither does nothing.
  void Release(Handle handle);

  /// Puts one object on each iterator of this kind of event and calls those that are armed, in
  /// the order of their registration. A callback may call everything in this class; an iterator
  /// that it releases is not called any more.
  void Post(Event event);

 private:
  struct Iterator {
    NotifyPort port;
    Event event;
    Callback callback;
    void* context;
    std::size_t waiting;  ///< objects; they carry nothing but their handle
    bool armed;
  };

  Handle NewHandle();

  std::set<NotifyPort> ports_;
  std::map<Handle, Iterator> iterators_;
  NotifyPort last_port_ = 0;
  Handle last_handle_ = 0;
};

}  // namespace quillet::platform::linux_desktop
