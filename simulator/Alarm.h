#pragma once

#include "simulator/Descriptor.h"
#include "simulator/OutputQueue.h"

namespace quillet::simulator {

/// Waits for a descriptor and for a time, and can be interrupted from another thread.
class Alarm {
 public:
  /// Throws std::system_error when the system gives no pipe.
  Alarm();

  /// Ends the wait in progress, or the next one. From any thread.
  void Ring();

  /// Waits until the descriptor (-1: none) has one of the events of poll(2), until `until`, or
  /// until Ring(). One thread at a time.
  void Wait(int descriptor, short events, Time until);

 private:
  Descriptor listener_;
  Descriptor ringer_;
};

}  // namespace quillet::simulator
