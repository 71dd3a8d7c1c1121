#include "app/SyncController.h"

#include <utility>
#include <vector>

#include "app/QuilletAppDelegate.h"
#include "app/Version.h"
#include "base/Log.h"
#include "base/ShownText.h"
#include "download/RecordDownload.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::SerialRegistry;

constexpr char kReviewLater[] =
    "A synchronization is in progress. You can review the settings when it has finished.";
constexpr int kPortWaits = 20;
constexpr auto kPortWait = 1s;
constexpr int kScannerPolls = 500;
constexpr auto kScannerPoll = 10ms;

std::string ShownSerialNumber(const Lumet& session) {
  return session.returnSerialNumber().TextFrom(kHiddenSerialCharacters);
}

void Drain(SerialRegistry& registry, SerialRegistry::Handle iterator) {
  while (const SerialRegistry::Handle object = registry.Next(iterator)) registry.Release(object);
}

}  // namespace

SyncController::SyncController(const Platform& platform, const MainWindowControls& controls,
                               platform::SettingsForm& form, platform::RunsWindow& runs,
                               Paths paths)
    : settingsForm(form),
      platform_(platform),
      controls_(controls),
      runsWindow_(runs),
      paths_(std::move(paths)) {
  controls_.connectTavo.OnPress([this] { connectButton(); });
  controls_.synchronize.OnPress([this] { synchronizeButton(); });
  controls_.clearview.OnPress([this] { clearviewButton(); });
  controls_.portList.OnSelection([this](std::int32_t item) {
    // The list also reports selections made by ChangePortList.
    if (isPortListChanging_) {
      ports_.selectedItem = item;
    } else {
      ports_.Select(item);
    }
  });
  controls_.settings.OnPress([this] { settingsButton(); });
  controls_.earlierRuns.OnPress([this] { earlierRuns_->Open(); });
  mainView_.OnRecordsRemoved([this] {
    const std::string records = archive_->failed() ? "" : " All records are in the archive.";
    strip_.Raise(Notice::kLinesDropped, "The window shows only the latest records." + records,
                 {{"Show", [this] { earlierRuns_->Open(); }}});
  });
}

void SyncController::Initialize() {
  bIsConnected = false;
  bIsUnderSynchronization = false;
  bConnecting = false;
  numPorts = 0;
  DisplayText("Quillet has started...", true);
  lumetfile = new LumetFile(platform_.log, platform_.clock, platform_.files, paths_.data);
  lumetfile->CreateBarcodeDirectory();
  lumet = new Lumet(platform_.log, platform_.clock, platform_.line);
  lumet->setDelegate(this);
  new RecordDownload(platform_.log, *lumet);  // registers itself with the session
  OpenArchive();
  OpenSettings();
  ChangePortList({0, {{"None"}}});
  updatePortList(true);
  RestoreSettings();
  platform_.keyEvents.Recover();
  delivery_.Prepare(lumet->destination);
  const std::size_t unfinished = lumetfile->RemoveUnfinished(lumet->filename.Get()) +
                                 platform_.files.RemoveUnfinished(paths_.archive);
  messages_->Interrupted(archive_->TakeInterruptedRuns(), unfinished);
  delegate_->changeWindowTitle(kWindowTitle);
  startNotification();
  StartConnectionThread(true);
}

void SyncController::OpenSettings() {
  auto* const consent =
      new SettingsConsent({.files = platform_.files,
                           .settings = *lumet,
                           .panels = platform_.panels,
                           .strip = strip_,
                           .dataFolder = paths_.data,
                           .confirmed = paths_.confirmed,
                           .mayReview =
                               [this] {
                                 if (!run_.IsInProgress()) return true;
                                 messages_->PressIgnored(kReviewLater);
                                 return false;
                               },
                           .onConfirm =
                               [this] {
                                 delivery_.Prepare(lumet->destination);
                                 target_.Check(lumet->destination, lumet->appname.Get());
                                 RunAutomatically();
                               }});
  settingsEditor_ = new SettingsEditor(
      {.log = platform_.log,
       .file = *lumetfile,
       .image = QuilletRegistry,
       .settings = *lumet,
       .form = settingsForm,
       .panels = platform_.panels,
       .strip = strip_,
       .checkTarget = [this](auto destination,
                             const auto& application) { target_.Check(destination, application); },
       .prepare = [this](auto destination) { delivery_.Prepare(destination); },
       .mayOpen = [this] { return !IgnoresPress("Settings"); },
       .saved =
           [this] {
             strip_.Withdraw(Notice::kScanDelivered);
             messages_->CheckCopies();
           },
       .consent = *consent});
}

void SyncController::OnMainThread(std::function<void()> change) {
  mainView_.Post(std::move(change));
}

std::int32_t SyncController::findSerialPorts() {
  std::vector<std::string> names(kMaximumPorts);
  std::vector<std::string> paths(kMaximumPorts);
  const std::int32_t found = platform_.registry.ReadSerialStreams(names, paths);
  Log(platform_.log, "-[SyncController findSerialPorts]", "[", found, "]");
  names.resize(static_cast<std::size_t>(found));
  return ports_.Keep(names, paths);
}

void SyncController::updatePortList(bool flag) {
  const std::int32_t before = numPorts;
  numPorts = findSerialPorts();
  Log(platform_.log, "-[SyncController updatePortList:]", "[", std::int32_t{numPorts}, "]");
  ChangePortList(ports_.AfterSearch(before, flag, bIsConnected));
}

void SyncController::ChangePortList(PortListChange change) {
  OnMainThread([this, change = std::move(change), connected = bool{bIsConnected}] {
    platform::PopUpList& list = controls_.portList;
    isPortListChanging_ = true;
    for (std::int32_t i = 0; i < change.removals; ++i) list.RemoveItem(1);
    for (const PortItem& item : change.items) {
      list.AddItem(ShownText(item.title), ShownText(item.path));
    }
    list.SelectItem(ports_.ItemToSelect(list.NumberOfItems(), connected));
    isPortListChanging_ = false;
  });
}

void SyncController::startNotification() {
  Log(platform_.log, "-[SyncController startNotification]");
  SerialRegistry& registry = platform_.registry;
  notifyPort = registry.CreateNotifyPort();
  // If the context is null, deviceAdded and deviceRemoved only empty the iterator. Emptying it arms
  // the notification.
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

void SyncController::stopNotification() {
  Log(platform_.log, "-[SyncController stopNotification]");
  SerialRegistry& registry = platform_.registry;
  if (addIterator != 0) registry.Release(std::exchange(addIterator, 0));
  if (removeIterator != 0) registry.Release(std::exchange(removeIterator, 0));
  if (notifyPort != 0) registry.DestroyNotifyPort(std::exchange(notifyPort, 0));
}

void SyncController::deviceAdded(void* context, SerialRegistry::Handle iterator) {
  Log(platform_.log, "deviceAdded");
  if (context == nullptr) return Drain(platform_.registry, iterator);
  static_cast<SyncController*>(context)->PortChanged(true, iterator);
}

void SyncController::deviceRemoved(void* context, SerialRegistry::Handle iterator) {
  Log(platform_.log, "deviceRemoved");
  if (context == nullptr) return Drain(platform_.registry, iterator);
  static_cast<SyncController*>(context)->PortChanged(false, iterator);
}

void SyncController::PortChanged(bool added, SerialRegistry::Handle iterator) {
  updatePortList(true);
  Drain(platform_.registry, iterator);
  if (added) {
    strip_.Withdraw(Notice::kPressIgnored);
    if (!bIsConnected && !isAttemptStarting_) StartConnectionThread(true);
  } else {
    portMessages_.WithdrawRemoved();
    if (bIsConnected && ports_.EndsConnection()) {
      Terminate();
      messages_->Disconnected();
    }
  }
}

void SyncController::connectButton() {
  Log(platform_.log, "-[SyncController connectButton:]");
  if (IgnoresPress(bIsConnected ? "Disconnect" : "Connect")) return;
  if (bIsConnected) {
    Terminate();
    messages_->Disconnected();
  } else if (numPorts != 0) {
    StartConnectionThread(false);
  } else {
    messages_->PressIgnored("No port was found. Plug in the scanner.");
  }
}

void SyncController::StartConnectionThread(bool tryAll) {
  if (bConnecting) return;
  bAutoConnect = tryAll;
  ports_.BeginAttempt();
  isAttemptStarting_ = true;
  if (!connectThread.Start([this] { ConnectThread(); })) {
    isAttemptStarting_ = false;
    Log(platform_.log, "-[SyncController StartConnectionThread:]", ": Couldn't start thread");
    portMessages_.NoThread();
  }
}

void SyncController::ConnectThread() {
  Log(platform_.log, "-[SyncController ConnectThread]");
  DisplayText("", true);
  bConnecting = true;
  isAttemptStarting_ = false;
  portMessages_.Withdraw();
  strip_.Withdraw(Notice::kPressIgnored);
  ShowConnectionState();
  if (bAutoConnect) {
    TryToConnectTavo();
  } else {
    StartTavo();
  }
  strip_.Withdraw(Notice::kConnecting);
  bConnecting = false;
  strip_.Withdraw(Notice::kPressIgnored);
  ShowConnectionState();
  // Ports that appeared during this attempt may not have been tried, because PortChanged
  // does not start a second attempt.
  OnMainThread([this] {
    portMessages_.WithdrawRemoved();
    if (!bIsConnected && !isAttemptStarting_ && ports_.HasUntried()) StartConnectionThread(true);
  });
}

bool SyncController::TryPort() {
  const std::string device = ports_.PathTried();
  OnMainThread([this, device] { ports_.SetTried(device); });
  DisplayText("Trying to connect " + device + ": ", false);
  strip_.Raise(Notice::kConnecting, "Connecting to the scanner on " + device + "…");
  const bool opened = !device.empty() && lumet->connectTavo(device.c_str());
  if (opened && IsTavoConnected()) return true;
  DisplayText("Failed", true);
  if (!device.empty() && lumet->LacksThread()) {
    portMessages_.NoThread(device);
  } else if (opened) {
    portMessages_.Silent(device);
  } else if (!device.empty()) {
    portMessages_.NotOpened(device);
  }
  if (bIsConnected) portMessages_.Withdraw();  // the scanner answered late
  return false;
}

void SyncController::TryAgain() {
  if (bIsConnected || bIsUnderSynchronization || isAttemptStarting_) return;
  if (numPorts == 0 && !bAutoConnect) return;
  StartConnectionThread(bAutoConnect);
}

void SyncController::TryToConnectTavo() {
  Log(platform_.log, "-[SyncController TryToConnectTavo]", ":", std::int32_t{numPorts});
  if (numPorts == 0) {
    DisplayText("Trying to connect", false);
    strip_.Raise(Notice::kConnecting, "Waiting for the scanner. Plug it in.");
    for (int wait = 0; wait < kPortWaits && numPorts == 0; ++wait) {
      platform_.clock.Sleep(kPortWait);
      DisplayText(".", false);
    }
    DisplayText("\r\n", false);
    if (numPorts == 0) return DisplayConnectionMessage(portIndex);
  }
  // Intentional: if a port opens but no scanner answers, the port stays open while the next one is
  // tried.
  for (portIndex = 0; portIndex < numPorts; portIndex = portIndex + 1) {
    if (TryPort()) return;
  }
  DisplayConnectionMessage(portIndex);
}

void SyncController::StartTavo() {
  Log(platform_.log, "-[SyncController StartTavo]");
  portIndex = ports_.selectedItem - 1;
  TryPort();  // the result is ignored: after a failure, only "Failed" is shown
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
  if (connected) portMessages_.Withdraw();
  ShowConnectionState();
  messages_->Connected();
  DisplayConnectionMessage(portIndex);
  // Shown even if no scanner is connected. The misspelling is intentional.
  if (lumet->bSyncClock) DisplayText("Tavo Time sychronized...", true);
  // Uses an exchange instead of a store: if the main thread has just confirmed settings and found
  // that no run was due, the exchange ensures that this thread sees the confirmed settings.
  run_.automaticRunIsDue.exchange(connected);
  RunAutomatically();
}

void SyncController::DeviceHungUp() {
  OnMainThread([this] {
    if (bIsConnected) messages_->HungUp();
  });
}

void SyncController::DisplayConnectionMessage(std::int32_t index) {
  Log(platform_.log, "-[SyncController DisplayConnectionMessage:]");
  OnMainThread([this] { platform_.workspace.ActivateIgnoringOtherApps(); });
  if (!bIsConnected) return DisplayText("Failed to connect to Tavo", true);
  const std::int32_t ports = numPorts;
  const std::string serial = '[' + ShownSerialNumber(*lumet) + ']';
  delegate_->changeWindowTitle(kWindowTitle + serial);
  OnMainThread([this] { controls_.connectTavo.SetLabel("Disconnect"); });
  ports_.SetConnected(index);
  Log(platform_.log, "-[SyncController DisplayConnectionMessage:]", "[", index, ":", ports, "]",
      ForeignText(connectedPortString.Get()));
  ChangePortList({ports, {{"Tavo" + serial, ports_.PathOf(index)}}});
  DisplayText("\r\nConnected to Tavo" + serial, true);
}

void SyncController::Terminate() {
  Log(platform_.log, "-[SyncController Terminate]");
  archive_->ConnectionEnded();
  delegate_->changeWindowTitle(kWindowTitle);
  const std::string message = "Disconnected from Tavo[" + ShownSerialNumber(*lumet) + "]";
  lumet->disconnectTavo();
  DisplayText(message, true);
  ChangePortList({1, {}});
  OnMainThread([this] { controls_.connectTavo.SetLabel("Connect"); });
  bIsConnected = false;
  delivery_.EndOfRun();
  strip_.Withdraw(Notice::kHungUp);
  ShowConnectionState();
  updatePortList(false);
}

}  // namespace quillet
