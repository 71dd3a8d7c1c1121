#include "app/PortTable.h"

#include <algorithm>

#include "base/Log.h"

namespace quillet {
namespace {

bool MayBeScanner(const std::string& name) {
  return name.find("Tavo") != std::string::npos || name.find("usbmodem") != std::string::npos;
}

}  // namespace

std::int32_t PortTable::Keep(std::span<const std::string> names,
                             std::span<const std::string> paths) {
  std::set<std::string> before;
  for (std::int32_t i = 0; i < numPorts; ++i) before.insert(At(path, i));
  std::size_t kept = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    Log(log_, ForeignText(names[i]));
    const std::string name = names[i].substr(0, names[i].find('-'));
    Log(log_, ForeignText(name));
    Log(log_, ForeignText(paths[i]));
    if (!MayBeScanner(name)) continue;
    // The connection thread may be reading the table, so rejected devices must not be stored in it,
    // even temporarily.
    stream[kept].Set(name);
    path[kept].Set(paths[i]);
    if (!before.contains(paths[i])) untried_.insert(paths[i]);
    ++kept;
  }
  return static_cast<std::int32_t>(kept);
}

PortListChange PortTable::AfterSearch(std::int32_t before, bool flag, bool connected) const {
  PortListChange change;
  if (!connected) {
    // If the previous search found no ports, the list has a second item "None" to remove.
    if (flag) change.removals = std::max(before, 1);
    for (std::int32_t i = 0; i < numPorts; ++i) {
      change.items.push_back({At(stream, i), At(path, i)});
      Log(log_, "-[SyncController updatePortList:]", "[", ForeignText(At(stream, i)), "]");
    }
  }
  if (numPorts == 0) change.items.push_back({"None"});
  return change;
}

void PortTable::Select(std::int32_t item) {
  selectedItem = item;
  Remember(item - 1);
}

void PortTable::Remember(std::int32_t index) {
  if (!IsPort(index)) return;
  lastName_.Set(At(stream, index));
  lastPath_.Set(At(path, index));
}

std::int32_t PortTable::Find(const Texts& texts, const std::string& text) const {
  std::int32_t index = 0;
  while (index < numPorts && At(texts, index) != text) ++index;
  return index;
}

std::int32_t PortTable::ItemToSelect(std::int32_t count, bool connected) const {
  if (connected) return count - 1;
  for (const std::int32_t index : {Find(path, lastPath_.Get()), Find(stream, lastName_.Get()), 0}) {
    if (IsPort(index) && index + 1 < count) return index + 1;
  }
  return 0;
}

bool PortTable::HasUntried() const {
  return std::ranges::any_of(untried_, [this](const auto& untried) { return Contains(untried); });
}

void PortTable::SetConnected(std::int32_t index) {
  Remember(index);
  connectedPortString.Set(IsPort(index) ? At(stream, index) : std::string());
}

bool PortTable::EndsConnection() const {
  for (std::int32_t i = 0; i < numPorts; ++i) {
    if (At(stream, i) != connectedPortString.Get()) return true;
  }
  return numPorts == 0;
}

}  // namespace quillet
