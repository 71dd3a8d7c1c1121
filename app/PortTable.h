#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/SharedText.h"
#include "base/SystemLog.h"
#include "base/Word.h"

namespace quillet {

/// The serial ports on which a scanner may be: which there are, which one is selected in the port
/// list, tried and connected, and how the port list shows them.
///
/// The main thread searches and selects. The connection thread tries. Any thread reads.
class PortTable {
 public:
  static constexpr std::int32_t kMaximumPorts = 32;  ///< ports that are read

  /// A change of the port list. Its first item, "None", always stays.
  struct ListChange {
    std::int32_t removals = 0;        ///< how often the item at position 1 is removed
    std::vector<std::string> titles;  ///< items to append afterwards

    /// Whether both changes are the same.
    bool operator==(const ListChange&) const = default;
  };

  /// @param log  outlives this object
  explicit PortTable(SystemLog& log) : log_(log) {}

  /// Fills `stream` and `path` with the devices that have a scanner's name. A name ends before its
  /// first hyphen.
  /// @return how many were kept. The caller stores it in `numPorts`.
  std::int32_t Keep(std::span<const std::string> names, std::span<const std::string> paths);

  /// The change of the list after a search.
  /// @param before     `numPorts` before the search
  /// @param flag       remove the entries of the ports before the search
  /// @param connected  the list shows the scanner
  ListChange AfterSearch(std::int32_t before, bool flag, bool connected) const;

  /// The item to select after a change of the list: the scanner's, else the port that was selected
  /// before, else the first port. Otherwise the list would show "None" beside a connected scanner,
  /// and Connect would try nothing although there is a port.
  /// @param titles     the items of the list
  /// @param before     the title that was selected before the change
  /// @param ports      how many ports there are
  /// @param connected  the last item is the scanner's
  static std::int32_t ItemToSelect(std::span<const std::string> titles, std::string_view before,
                                   std::int32_t ports, bool connected);

  /// The path of the port that is tried, empty if it is not in the table: the selected item may be
  /// no port.
  std::string PathTried() const { return IsPort(portIndex) ? At(path, portIndex) : std::string(); }

  /// Stores the name of the port with this index as the connected one. It is empty for an answer
  /// that arrives after the last port has failed.
  void SetConnected(std::int32_t index);

  /// Whether the removal of a port ends the connection: unless every remaining port has the name of
  /// the connected one.
  bool EndsConnection() const;

  Word<std::int32_t> numPorts = 0;               ///< ports in the table
  std::array<SharedText, kMaximumPorts> stream;  ///< device names; stale from numPorts on
  std::array<SharedText, kMaximumPorts> path;    ///< device paths; stale from numPorts on
  SharedText connectedPortString;                ///< device name of the connected port
  Word<std::int32_t> selectedItem = 0;           ///< the list's selection; 1 is the first port
  Word<std::int32_t> portIndex = 0;              ///< the port that is tried

 private:
  using Texts = std::array<SharedText, kMaximumPorts>;

  bool IsPort(std::int32_t index) const {
    return index >= 0 && index < numPorts && index < kMaximumPorts;
  }
  static const std::string& At(const Texts& texts, std::int32_t index) {
    return texts[static_cast<std::size_t>(index)].Get();
  }

  SystemLog& log_;
};

}  // namespace quillet
