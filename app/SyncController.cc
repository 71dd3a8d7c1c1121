#include "app/SyncController.h"

#include <utility>

#include "app/QuilletAppDelegate.h"
#include "app/Version.h"
#include "download/RecordDownload.h"

namespace quillet {

SyncController::SyncController(const Platform& platform, const MainWindowControls& controls,
                               platform::SettingsForm& form, std::string dataFolder)
    : MainWindowControls(controls),
      settingsForm(form),
      platform_(platform),
      dataFolder_(std::move(dataFolder)) {
  connectTavo.OnPress([this] { connectButton(); });
  synchronize.OnPress([this] { synchronizeButton(); });
  clearview.OnPress([this] { clearviewButton(); });
  portList.OnSelection([this](std::int32_t position) { selectedPort_ = position; });
  settings.OnPress([this] { settingsButton(); });
}

void SyncController::Initialize() {
  bIsConnected = false;
  bIsUnderSynchronization = false;
  bConnecting = false;
  numPorts = 0;
  DisplayText("Quillet has started...", true);
  lumetfile = new LumetFile(platform_.log, platform_.clock, platform_.files, dataFolder_);
  lumetfile->CreateBarcodeDirectory();
  lumet = new Lumet(platform_.log, platform_.clock, platform_.line);
  lumet->setDelegate(this);
  settingsEditor_ = new SettingsEditor(
      {platform_.log, *lumetfile, QuilletRegistry, *lumet, settingsForm, platform_.panels});
  new RecordDownload(platform_.log, *lumet);  // becomes the session's
  ChangePortList([](platform::PopUpList& list) { list.AddItem("None"); });
  updatePortList(true);
  RestoreSettings();
  delegate_->changeWindowTitle(kWindowTitle);
  startNotification();
  StartConnectionThread(true);
}

void SyncController::OnMainThread(std::function<void()> change) {
  platform_.mainQueue.Async(std::move(change));
}

}  // namespace quillet
