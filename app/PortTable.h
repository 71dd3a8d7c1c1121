#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "base/SharedText.h"
#include "base/SystemLog.h"
#include "base/Word.h"

namespace quillet {

/// An item of the port list.
struct PortItem {
  std::string title;                                 ///< device name, "None" or scanner name
  std::string path = {};                             ///< device path, or empty
  bool operator==(const PortItem&) const = default;  ///< compares all members
};

/// A change to the port list. The list's first item, "None", is never removed.
struct PortListChange {
  std::int32_t removals = 0;                               ///< items to remove, from position 1
  std::vector<PortItem> items;                             ///< items to append after the removals
  bool operator==(const PortListChange&) const = default;  ///< compares all members
};

/// The serial ports that may have a scanner attached. Tracks which port is selected, being
/// tried or connected, and computes the items of the port list.
///
/// Threads: the main thread finds and selects ports; the connection thread tries them. Any thread
/// may read.
class PortTable {
 public:
  static constexpr std::int32_t kMaximumPorts = 32;  ///< capacity of the table

  /// @param log  must outlive this object
  explicit PortTable(SystemLog& log) : log_(log) {}

  /// Fills `stream` and `path` with the devices whose name contains "Tavo" or "usbmodem". Names are
  /// truncated at their first hyphen.
  /// @param names  device names, at most kMaximumPorts
  /// @param paths  device paths, in the same order
  /// @return the number of devices kept; the caller stores it in `numPorts`
  std::int32_t Keep(std::span<const std::string> names, std::span<const std::string> paths);

  /// Returns the change to make to the port list after a search.
  /// @param before     `numPorts` before the search
  /// @param flag       whether to remove the items of the previous ports
  /// @param connected  whether the list shows a connected scanner instead of ports
  PortListChange AfterSearch(std::int32_t before, bool flag, bool connected) const;

  void Select(std::int32_t item);  ///< stores the position that the user selected, and its port

  /// Returns the position to select after a change to the list: the connected scanner, else the
  /// last selected or connected port, else the first port, else "None". The last selected or
  /// connected port is found by its path, or by its name if no port has this path.
  /// @param count      the number of items in the list
  /// @param connected  whether the last item is a connected scanner
  std::int32_t ItemToSelect(std::int32_t count, bool connected) const;

  ///@{ Ports that were plugged in during the attempt to connect and have not been tried. Main
  /// thread.
  void BeginAttempt() { untried_.clear(); }
  void SetTried(const std::string& triedPath) { untried_.erase(triedPath); }
  bool HasUntried() const;
  ///@}

  /// Returns true if a port has this path.
  bool Contains(const std::string& portPath) const { return Find(path, portPath) < numPorts; }

  /// Returns the path of port `index`, or an empty string if there is no such port.
  std::string PathOf(std::int32_t index) const {
    return IsPort(index) ? At(path, index) : std::string();
  }

  /// Returns PathOf(portIndex), which is empty if "None" is selected.
  std::string PathTried() const { return PathOf(portIndex); }

  /// Stores the name of port `index` in `connectedPortString`, or an empty string if `index` is not
  /// a port. `index` equals `numPorts` if the scanner answers after the attempt on the last port
  /// has ended.
  void SetConnected(std::int32_t index);

  /// Returns true if the connection must end after the removal of a port: if no ports remain, or if
  /// any remaining port has a name other than `connectedPortString`.
  bool EndsConnection() const;

  Word<std::int32_t> numPorts = 0;               ///< number of ports
  std::array<SharedText, kMaximumPorts> stream;  ///< device names; the first numPorts are valid
  std::array<SharedText, kMaximumPorts> path;    ///< device paths; the first numPorts are valid
  SharedText connectedPortString;                ///< device name of the connected port
  Word<std::int32_t> selectedItem = 0;           ///< selected list position; 1 is the first port
  Word<std::int32_t> portIndex = 0;              ///< zero-based index of the port being tried

 private:
  using Texts = std::array<SharedText, kMaximumPorts>;

  void Remember(std::int32_t index);
  std::int32_t Find(const Texts& texts, const std::string& text) const;
  bool IsPort(std::int32_t index) const {
    return index >= 0 && index < numPorts && index < kMaximumPorts;
  }
  static const std::string& At(const Texts& texts, std::int32_t index) {
    return texts[static_cast<std::size_t>(index)].Get();
  }

  SystemLog& log_;
  SharedText lastName_;  // name of the last selected or connected port
  SharedText lastPath_;
  std::set<std::string> untried_;  // paths of ports not tried yet; main thread only
};

}  // namespace quillet
