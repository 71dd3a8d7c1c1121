#include <optional>
#include <string>

#include "app/Destinations.h"
#include "app/SyncController.h"
#include "base/Log.h"
#include "output/Choices.h"

namespace quillet {
namespace {

// Where the open panel begins. The doubled slash is meant.
constexpr char kApplications[] = "//Applications";
constexpr char kProposedApplication[] = "TextEdit.app";

void AddTitles(platform::PopUpList& list, std::span<const std::string_view> titles) {
  for (const std::string_view title : titles) list.AddItem(title);
}

std::uint8_t State(const platform::CheckBox& box) {
  return box.IsOn() ? 1 : 0;
}

// Nothing is selected for a stored number that the list has no item for. It stays what it is then.
void StoreSelection(const platform::PopUpList& list, Word<std::int32_t>& number) {
  const std::int32_t selected = list.SelectedItem();
  if (selected >= 0) number = selected;
}

}  // namespace

// Called by the constructor.
void SyncController::PrepareSettingsWindow() {
  AddTitles(datadelimiter, DataDelimiterTitles());
  AddTitles(recorddelimiter, RecordDelimiterTitles());
  AddTitles(sn_position, SerialPositionTitles());
  AddTitles(dataorder, OrderTitles());
  AddTitles(destination, DestinationTitles());
  settings.OnPress([this] { settingsButton(); });
  newfileButton.OnPress([this] { newfileButtonChanged(); });
  savewindow.OnPress([this] { saveButton(); });
  cancelwindow.OnPress([this] { cancelButton(); });
  destination.OnSelection([this](std::int32_t) {
    if (fillingSettings_) return;
    destinationChanged();
    ShowSample();
  });
  for (platform::CheckBox* box : {&attachserial, &attachtimestamp, &attachtype, &nonenglish}) {
    box->OnChange([this] { ShowSample(); });
  }
  for (platform::PopUpList* list : {&datadelimiter, &recorddelimiter, &sn_position, &dataorder}) {
    list->OnSelection([this](std::int32_t) { ShowSample(); });
  }
}

void SyncController::settingsButton() {
  Log(platform_.log, "-[SyncController settingsButton:]", "[", ForeignText(lumet->filename.Get()),
      ",", ForeignText(lumet->appname.Get()), "]");
  if (bConnecting || bIsUnderSynchronization) return;
  settingsWindow.OrderFront();
  fillingSettings_ = true;
  attachserial.SetOn(lumet->bAttachSerial != 0);
  attachtimestamp.SetOn(lumet->bAttachTimestamp != 0);
  attachtype.SetOn(lumet->bAttachType != 0);
  datadelimiter.SelectItem(lumet->datadelimiter);
  recorddelimiter.SelectItem(lumet->recorddelimiter);
  sn_position.SelectItem(lumet->sn_position);
  dataorder.SelectItem(lumet->dataorder);
  syncclock.SetOn(lumet->bSyncClock != 0);
  clearmemory.SetOn(lumet->bClearMemory != 0);
  burstsync.SetOn(lumet->bBurstSync != 0);
  autosync.SetOn(lumet->bAutoSync != 0);
  appenddata.SetOn(lumet->bAppendData != 0);
  nonenglish.SetOn(lumet->bNonEnglish != 0);
  destination.SelectItem(lumet->destination);
  fillingSettings_ = false;
  ChangeDestinationInformation();
  ShowSample();
  settingsWindow.MakeKeyAndOrderFront();
}

void SyncController::destinationChanged() {
  Log(platform_.log, "-[SyncController destinationChanged:]");
  ChangeDestinationInformation();
}

void SyncController::ChangeDestinationInformation() {
  newfileButton.SetEnabled(true);
  filenametextfield.SetEditable(true);
  switch (destination.SelectedItem()) {
    case kToFile:
      filenametextfield.SetText(lumet->filename.Get());
      break;
    case kToNamedApplication:
      filenametextfield.SetText(lumet->appname.Get());
      break;
    case kToView:
    case kToFrontmostApplication:
      filenametextfield.SetEditable(false);
      newfileButton.SetEnabled(false);
      filenametextfield.SetText("");
      break;
    default:
      break;
  }
}

void SyncController::newfileButtonChanged() {
  Log(platform_.log, "-[SyncController newfileButtonChanged:]");
  const std::int32_t index = destination.SelectedItem();
  std::optional<std::string> chosen;
  if (index == kToFile) {
    // The proposed name is the placeholder's, so that it can be chosen again.
    chosen = platform_.panels.RunSavePanel(dataFolder_, std::string(kPlaceholder).substr(1));
  } else if (index == kToNamedApplication) {
    chosen = platform_.panels.RunOpenPanel(kApplications, kProposedApplication);
  }
  if (!chosen) return;
  filenametextfield.SetText(*chosen);
  // In effect from now on: closing the window without saving does not take it back.
  (index == kToFile ? lumet->filename : lumet->appname).Set(*chosen);
}

void SyncController::saveButton() {
  Log(platform_.log, "-[SyncController saveButton:]");
  StoreControls(*lumet);
  SaveSettings();
  settingsWindow.Close();
}

void SyncController::cancelButton() {
  Log(platform_.log, "-[SyncController cancelButton:]");
  settingsWindow.Close();
}

// The path field is not read: only the browse button sets a path.
void SyncController::StoreControls(Settings& record) const {
  record.bAttachSerial = State(attachserial);
  record.bAttachTimestamp = State(attachtimestamp);
  record.bAttachType = State(attachtype);
  StoreSelection(datadelimiter, record.datadelimiter);
  StoreSelection(recorddelimiter, record.recorddelimiter);
  StoreSelection(sn_position, record.sn_position);
  StoreSelection(dataorder, record.dataorder);
  record.bSyncClock = State(syncclock);
  record.bClearMemory = State(clearmemory);
  record.bBurstSync = State(burstsync);
  record.bAutoSync = State(autosync);
  record.bAppendData = State(appenddata);
  record.bNonEnglish = State(nonenglish);
  StoreSelection(destination, record.destination);
}

// What the next line would look like if the window were saved now.
void SyncController::ShowSample() {
  if (fillingSettings_) return;
  sample_.datadelimiter = std::int32_t{lumet->datadelimiter};
  sample_.recorddelimiter = std::int32_t{lumet->recorddelimiter};
  sample_.sn_position = std::int32_t{lumet->sn_position};
  sample_.dataorder = std::int32_t{lumet->dataorder};
  sample_.destination = std::int32_t{lumet->destination};
  StoreControls(sample_);
  const bool toApplication = sample_.destination != kToFile && sample_.destination != kToView;
  const auto spelling = toApplication && sample_.bNonEnglish == 0 ? TypedSpelling : VisibleSpelling;
  olderSample.SetText(spelling(sample_.Line(false)));
  series300Sample.SetText(spelling(sample_.Line(true)));
}

}  // namespace quillet
