#include <algorithm>
#include <utility>
#include <vector>

#include "app/SyncController.h"
#include "base/Log.h"

namespace quillet {
namespace {

using platform::SerialRegistry;

// A scanner shows up under one of these names.
constexpr std::string_view kScannerNames[] = {"Tavo", "usbmodem"};

bool MayBeScanner(const std::string& name) {
  return std::any_of(std::begin(kScannerNames), std::end(kScannerNames),
                     [&](std::string_view part) { return name.find(part) != std::string::npos; });
}

}  // namespace

std::int32_t SyncController::findSerialPorts() {
  std::array<std::string, kMaximumPorts> names;
  std::array<std::string, kMaximumPorts> paths;
  const std::int32_t found = platform_.registry.ReadSerialStreams(names, paths);
  Log(platform_.log, "-[SyncController findSerialPorts]", "[", found, "]");
  std::size_t kept = 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(found); ++i) {
    Log(platform_.log, ForeignText(names[i]));
    const std::string name = names[i].substr(0, names[i].find('-'));
    Log(platform_.log, ForeignText(name));
    Log(platform_.log, ForeignText(paths[i]));
    if (!MayBeScanner(name)) continue;
    // A connection thread may be reading the arrays: another device is never put there, not even
    // until the next one overwrites it.
    stream[kept].Set(name);
    path[kept].Set(paths[i]);
    ++kept;
  }
  return static_cast<std::int32_t>(kept);
}

// Changes the list's items and sees to it that the selection still means something afterwards: the
// scanner's entry while one is connected, else the port that was selected before, else the first
// port. Without that, the list would show "None" beside a connected scanner, and Connect would try
// nothing although a port is there.
void SyncController::ChangePortList(std::function<void(platform::PopUpList&)> change) {
  OnMainThread([this, change = std::move(change), connected = bool{bIsConnected},
                ports = std::int32_t{numPorts}] {
    const std::string before = portList.ItemTitle(portList.SelectedItem());
    change(portList);
    if (connected) {
      portList.SelectItem(portList.NumberOfItems() - 1);
      return;
    }
    for (std::int32_t position = 1; position <= ports; ++position) {
      if (portList.ItemTitle(position) == before) {
        portList.SelectItem(position);
        return;
      }
    }
    portList.SelectItem(ports > 0 ? 1 : 0);
  });
}

void SyncController::updatePortList(bool flag) {
  const std::int32_t old = numPorts;
  numPorts = findSerialPorts();
  Log(platform_.log, "-[SyncController updatePortList:]", "[", std::int32_t{numPorts}, "]");
  std::vector<std::string> titles;
  std::int32_t removals = 0;
  if (!bIsConnected) {
    // Without a port there was an extra "None" to take away.
    if (flag) removals = std::max(old, 1);
    for (std::int32_t i = 0; i < numPorts; ++i) {
      titles.push_back(stream[static_cast<std::size_t>(i)].Get());
      Log(platform_.log, "-[SyncController updatePortList:]", "[", ForeignText(titles.back()), "]");
    }
  }
  if (numPorts == 0) titles.emplace_back("None");
  ChangePortList([removals, titles = std::move(titles)](platform::PopUpList& list) {
    for (std::int32_t i = 0; i < removals; ++i) list.RemoveItem(1);
    for (const std::string& title : titles) list.AddItem(title);
  });
}

void SyncController::startNotification() {
  Log(platform_.log, "-[SyncController startNotification]");
  SerialRegistry& registry = platform_.registry;
  notifyPort = registry.CreateNotifyPort();
  // Emptying each iterator of what is there already arms it and starts nothing.
  addIterator = registry.AddMatchingNotification(
      notifyPort, SerialRegistry::Event::FirstMatch,
      [this](void* context, SerialRegistry::Handle iterator) { deviceAdded(context, iterator); },
      this);
  deviceAdded(nullptr, addIterator);
  removeIterator = registry.AddMatchingNotification(
      notifyPort, SerialRegistry::Event::Terminate,
      [this](void* context, SerialRegistry::Handle iterator) { deviceRemoved(context, iterator); },
      this);
  deviceRemoved(nullptr, removeIterator);
}

void SyncController::deviceAdded(void* context, SerialRegistry::Handle iterator) {
  Log(platform_.log, "deviceAdded");
  if (context == nullptr) {
    Drain(iterator);
  } else {
    static_cast<SyncController*>(context)->PortChanged(true, iterator);
  }
}

void SyncController::deviceRemoved(void* context, SerialRegistry::Handle iterator) {
  Log(platform_.log, "deviceRemoved");
  if (context == nullptr) {
    Drain(iterator);
  } else {
    static_cast<SyncController*>(context)->PortChanged(false, iterator);
  }
}

void SyncController::Drain(SerialRegistry::Handle iterator) {
  while (const SerialRegistry::Handle object = platform_.registry.Next(iterator)) {
    platform_.registry.Release(object);
  }
}

void SyncController::PortChanged(bool added, SerialRegistry::Handle iterator) {
  updatePortList(true);
  Drain(iterator);
  if (added) {
    if (!bIsConnected) StartConnectionThread(true);
    return;
  }
  if (!bIsConnected) return;
  // The connection survives only when every port left has the connected port's name.
  for (std::int32_t i = 0; i < numPorts; ++i) {
    if (stream[static_cast<std::size_t>(i)].Get() != connectedPortString.Get()) {
      Terminate();
      return;
    }
  }
  if (numPorts == 0) Terminate();
}

void SyncController::stopNotification() {
  Log(platform_.log, "-[SyncController stopNotification]");
  SerialRegistry& registry = platform_.registry;
  if (addIterator != 0) registry.Release(std::exchange(addIterator, 0));
  if (removeIterator != 0) registry.Release(std::exchange(removeIterator, 0));
  if (notifyPort != 0) registry.DestroyNotifyPort(std::exchange(notifyPort, 0));
}

}  // namespace quillet
