#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "app/Version.h"
#include "base/Log.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr int kPortWaits = 20;
constexpr auto kPortWait = 1s;
constexpr int kScannerPolls = 500;
constexpr auto kScannerPoll = 10ms;

}  // namespace

std::string SyncController::ShownSerialNumber() const {
  return lumet->returnSerialNumber().TextFrom(kHiddenSerialCharacters);
}

// The path of a port, empty for one that is not there: the selected entry may be none of the ports.
std::string SyncController::PathOfPort(std::int32_t index) const {
  if (index < 0 || index >= numPorts || index >= kMaximumPorts) return {};
  return path[static_cast<std::size_t>(index)].Get();
}

void SyncController::connectButton() {
  Log(platform_.log, "-[SyncController connectButton:]");
  if (bConnecting || bIsUnderSynchronization) return;
  if (bIsConnected) {
    Terminate();
  } else if (numPorts != 0) {
    StartConnectionThread(false);
  }
}

void SyncController::StartConnectionThread(bool tryAll) {
  if (bConnecting) return;
  bAutoConnect = tryAll;
  // The thread itself says that it is connecting, once it runs.
  if (!connectThread.Start([this] { ConnectThread(); })) {
    Log(platform_.log, "-[SyncController StartConnectionThread:]", ": no thread to connect with");
  }
}

void SyncController::ConnectThread() {
  Log(platform_.log, "-[SyncController ConnectThread]");
  DisplayText("", true);
  bConnecting = true;
  if (bAutoConnect) {
    TryToConnectTavo();
  } else {
    StartTavo();
  }
  bConnecting = false;
}

// Shows the port, opens it and waits for the scanner; shows "Failed" when that was in vain.
bool SyncController::TryPort(std::int32_t index) {
  const std::string device = PathOfPort(index);
  DisplayText("Trying to connect " + device + ": ", false);
  if (!device.empty() && lumet->connectTavo(device.c_str()) && IsTavoConnected()) return true;
  DisplayText("Failed", true);
  return false;
}

void SyncController::TryToConnectTavo() {
  Log(platform_.log, "-[SyncController TryToConnectTavo]", ":", std::int32_t{numPorts});
  if (numPorts == 0) {
    DisplayText("Trying to connect", false);
    for (int wait = 0; wait < kPortWaits && numPorts == 0; ++wait) {
      platform_.clock.Sleep(kPortWait);
      DisplayText(".", false);
    }
    DisplayText("\r\n", false);
    if (numPorts == 0) {
      DisplayConnectionMessage(portIndex);
      return;
    }
  }
  // A port that opened but brought no scanner stays open while the next one is tried.
  for (portIndex = 0; portIndex < numPorts; portIndex = portIndex + 1) {
    if (TryPort(portIndex)) return;
  }
  DisplayConnectionMessage(portIndex);
}

void SyncController::StartTavo() {
  Log(platform_.log, "-[SyncController StartTavo]");
  portIndex = selectedPort_ - 1;
  TryPort(portIndex);  // a selected port that failed has no closing line
}

bool SyncController::IsTavoConnected() {
  for (int poll = 0; poll < kScannerPolls; ++poll) {
    if (bIsConnected) return true;
    platform_.clock.Sleep(kScannerPoll);
  }
  return false;
}

void SyncController::TavoInitializationDone(bool connected) {
  Log(platform_.log, "-[SyncController TavoInitializationDone:]");
  bIsConnected = connected;
  DisplayConnectionMessage(portIndex);
  // The setting alone decides. The text is spelled as it is on purpose.
  if (lumet->bSyncClock) DisplayText("Tavo Time sychronized...", true);
  if (lumet->bAutoSync && bIsConnected) DoSynchronization();
}

void SyncController::DisplayConnectionMessage(std::int32_t index) {
  Log(platform_.log, "-[SyncController DisplayConnectionMessage:]");
  OnMainThread([this] { platform_.workspace.ActivateIgnoringOtherApps(); });
  if (!bIsConnected) {
    DisplayText("Failed to connect to Tavo", true);
    return;
  }
  const std::string serial = ShownSerialNumber();
  delegate_->changeWindowTitle(std::string(kWindowTitle) + "[" + serial + "]");
  OnMainThread([this] { connectTavo.SetLabel("Disconnect"); });
  // An answer may come so late that every port has been given up; the name is then unknown.
  const std::int32_t ports = numPorts;
  const bool known = index >= 0 && index < ports && index < kMaximumPorts;
  connectedPortString.Set(known ? stream[static_cast<std::size_t>(index)].Get() : std::string());
  Log(platform_.log, "-[SyncController DisplayConnectionMessage:]", "[", index, ":", ports, "]",
      ForeignText(connectedPortString.Get()));
  ChangePortList([ports, entry = "Tavo[" + serial + "]"](platform::PopUpList& list) {
    for (std::int32_t i = 0; i < ports; ++i) list.RemoveItem(1);
    list.AddItem(entry);
  });
  DisplayText("\r\nConnected to Tavo[" + serial + "]", true);
}

void SyncController::Terminate() {
  Log(platform_.log, "-[SyncController Terminate]");
  delegate_->changeWindowTitle(kWindowTitle);
  const std::string message = "Disconnected from Tavo[" + ShownSerialNumber() + "]";
  lumet->disconnectTavo();
  DisplayText(message, true);
  ChangePortList([](platform::PopUpList& list) { list.RemoveItem(1); });
  OnMainThread([this] { connectTavo.SetLabel("Connect"); });
  bIsConnected = false;
  updatePortList(false);
}

}  // namespace quillet
