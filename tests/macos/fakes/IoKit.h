#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quillet::macos_tests {

/// A service of the registry as a test describes it.
struct Service {
  std::optional<std::string> name;  ///< property "IOTTYDevice"
  std::optional<std::string> path;  ///< property "IOCalloutDevice"
  std::string type = "IOSerialStream";
  std::string serviceClass = "IOSerialBSDClient";
};

/// What of I/O Kit shall fail.
struct IoKitFaults {
  bool masterPort = false;
  bool matching = false;          ///< no dictionary can be made
  bool matchingServices = false;  ///< no iterator of what is there
  bool notifyPort = false;
  bool registration = false;
};

/// The registry of I/O Kit, kept in memory. Main thread.
class IoKit {
 public:
  static IoKit& Shared();

  /// Forgets all services and faults.
  void Reset();

  /// A service that is there already: no news. @return its number
  int Attach(Service service);
  /// A service that arrives; the news waits for the run loop. @return its number
  int Plug(Service service);
  /// A service that goes; the news waits for the run loop.
  void Unplug(int number);
  /// A property that is no string, as of a driver that has gone wrong.
  void SpoilName(int number);

  /// One turn of this thread's run loop: delivers the news that waits.
  /// @return how many callbacks were made
  int RunLoopTurn();

  /// The callback of an iterator, which can still be made when the iterator is gone.
  std::function<void()> CallbackOf(std::uint32_t iterator) const;

  /// Names of objects and iterators that were handed out and not released.
  std::size_t HandlesHeld() const;
  std::size_t Ports() const;

  IoKitFaults faults;
};

}  // namespace quillet::macos_tests
