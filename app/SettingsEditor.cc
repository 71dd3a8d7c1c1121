#include "app/SettingsEditor.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "base/Log.h"
#include "base/ShownText.h"

namespace quillet {
namespace {

// Initial folder of the open panel. The double slash is intentional.
constexpr char kApplications[] = "//Applications";
constexpr char kProposedApplication[] = "TextEdit.app";

constexpr std::string_view kReplacesMessage =
    "Each synchronization replaces this file. To keep its contents, turn on \"Add to the file "
    "instead of replacing it\".";

}  // namespace

SettingsEditor::SettingsEditor(const Parts& parts)
    : parts_(parts), settings_(parts.settings), form_(parts.form) {
  form_.SetActions({.changed = [this] { ShowSamples(); },
                    .destinationChanged = [this] { DestinationChanged(); },
                    .browse = [this] { Browse(); },
                    .save = [this] { SaveAndClose(); },
                    .cancel = [this] { Cancel(); }});
}

void SettingsEditor::Save() {
  WriteChoices(settings_, parts_.image);
  // For other destinations, the settings file keeps the paths that were saved earlier.
  if (settings_.destination == kToFile || settings_.destination == kToNamedApplication) {
    for (const auto& [position, name] : {std::pair(kApplicationNamePosition, &settings_.appname),
                                         std::pair(kFileNamePosition, &settings_.filename)}) {
      WriteName(parts_.image, position, name->Get());
      Log(parts_.log, "-[SyncController SaveSettings]", "[", ForeignText(name->Get()), "]");
    }
  }
  parts_.image.back() = '\0';
  CheckPaths();
  const auto saved = parts_.file.SaveRegistry(parts_.image);
  if (saved) return parts_.strip.Withdraw(Notice::kSettingsNotSaved);
  const std::string owner = parts_.file.SettingsOwner();
  parts_.strip.Raise(Notice::kSettingsNotSaved,
                     "The settings were not saved: " + std::string(ReasonText(saved.error)) + "." +
                         (owner.empty() ? "" : " The settings file is owned by " + owner + "."),
                     {{"Try again", [this] { Save(); }}});
}

// Warns about a path that is too long, because the setting will be empty after the next start.
void SettingsEditor::CheckPaths() {
  for (const auto& [destination, path] : {std::pair(kToFile, &settings_.filename),
                                          std::pair(kToNamedApplication, &settings_.appname)}) {
    if (path->Get().size() <= kLongestName) continue;
    return parts_.strip.Raise(
        Notice::kPathTooLong,
        "The path cannot be saved because it is longer than 127 bytes. Choose a shorter path.",
        {{"Choose…", [this, chosen = destination] { Choose(chosen); }}});
  }
  parts_.strip.Withdraw(Notice::kPathTooLong);
}

// Lets the user choose another path in the settings window.
void SettingsEditor::Choose(std::int32_t destination) {
  if (!isOpen_) Open();
  if (!isOpen_) return;
  platform::SettingsValues values = form_.Values();
  values.destination = destination;
  form_.Show(values);
  DestinationChanged();
  Browse();
}

void SettingsEditor::Restore() {
  RegistryRead file = parts_.file.ReadRegistry(parts_.image);
  if (!file) file = RestoreDefaults();
  Log(parts_.log, "-[SyncController RestoreSettings]", ": Read registry file done...");
  ReadChoices(parts_.image, settings_);
  settings_.appname.Set(ReadName(parts_.image, kApplicationNamePosition));
  settings_.filename.Set(ReadName(parts_.image, kFileNamePosition));
  if (!file || file.custody == platform::Custody::kTrusted) return;
  if (!file.ownFile) {
    // Keeps only the choices and the two paths from another user's file, so that Save does not
    // store the rest.
    std::fill(parts_.image.begin() + kApplicationNamePosition, parts_.image.end() - 1, '0');
    WriteName(parts_.image, kApplicationNamePosition, settings_.appname.Get());
    WriteName(parts_.image, kFileNamePosition, settings_.filename.Get());
  }
  parts_.consent.HoldBack(file.owner);
}

// Sets and saves the defaults. Settings that are not assigned here already have their default
// values. Returns the result of reading the saved file.
RegistryRead SettingsEditor::RestoreDefaults() {
  settings_.bAttachSerial = 1;
  settings_.bAttachTimestamp = 1;
  settings_.bAttachType = 1;
  settings_.datadelimiter = 3;
  settings_.recorddelimiter = 4;
  settings_.bSyncClock = 1;
  settings_.destination = kToFile;
  settings_.filename.Set(parts_.file.dataFolder() + kPlaceholder);
  parts_.image.fill('0');
  Save();
  return parts_.file.ReadRegistry(parts_.image);
}

void SettingsEditor::Open() {
  const bool mayOpen = parts_.mayOpen();
  Log(parts_.log, "-[SyncController settingsButton:]", "[", ForeignText(settings_.filename.Get()),
      ",", ForeignText(settings_.appname.Get()), "]");
  if (!mayOpen) return;
  isOpen_ = true;
  form_.settingsWindow().OrderFront();
  form_.Show(ShownValues(settings_));
  ChangeDestinationInformation();
  ShowSamples();
  form_.settingsWindow().MakeKeyAndOrderFront();
}

void SettingsEditor::DestinationChanged() {
  Log(parts_.log, "-[SyncController destinationChanged:]");
  ChangeDestinationInformation();
  ShowSamples();
  parts_.prepare(form_.Values().destination);
  CheckTarget(form_.Values().destination);
}

void SettingsEditor::ChangeDestinationInformation() {
  form_.SetPathEnabled(true);
  switch (form_.Values().destination) {
    case kToFile:
      form_.SetPath(ShownText(settings_.filename.Get()));
      break;
    case kToNamedApplication:
      form_.SetPath(ShownText(settings_.appname.Get()));
      break;
    case kToView:
    case kToActiveApplication:
      form_.SetPathEnabled(false);
      form_.SetPath("");
      break;
    default:
      break;
  }
}

void SettingsEditor::Browse() {
  Log(parts_.log, "-[SyncController newfileButtonChanged:]");
  const std::int32_t destination = form_.Values().destination;
  std::optional<std::string> chosen;
  if (destination == kToFile) {
    // Suggests the placeholder sn_timestamp.txt, so that the user can choose it again.
    chosen = parts_.panels.RunSavePanel(
        parts_.file.dataFolder(), std::string(kPlaceholder).substr(1), parts_.file.RegistryPath());
  } else if (destination == kToNamedApplication) {
    chosen = parts_.panels.RunOpenPanel(kApplications, kProposedApplication);
  }
  if (!chosen || (destination == kToFile && !Accepts(*chosen))) return;
  form_.SetPath(ShownText(*chosen));
  (destination == kToFile ? settings_.filename : settings_.appname).Set(*chosen);
  CheckPaths();
  CheckTarget(destination);
}

void SettingsEditor::ChooseApplication() {
  const auto chosen = parts_.panels.RunOpenPanel(kApplications, kProposedApplication);
  if (!chosen) return;
  settings_.appname.Set(*chosen);
  if (settings_.destination == kToNamedApplication) {
    Save();
    parts_.consent.Chosen();
  }
  if (form_.Values().destination == kToNamedApplication) form_.SetPath(ShownText(*chosen));
  CheckTarget(kToNamedApplication);
}

void SettingsEditor::CheckTarget(std::int32_t destination) {
  parts_.checkTarget(destination, settings_.appname.Get());
}

bool SettingsEditor::Accepts(const std::string& file) {
  if (parts_.file.IsSettingsFile(file)) {
    parts_.strip.Raise(Notice::kPathRefused, std::string(kSettingsFileMessage));
    return false;
  }
  parts_.strip.Withdraw(Notice::kPathRefused);
  parts_.strip.Withdraw(Notice::kFileReplaced);
  if (!form_.Values().appenddata && parts_.file.IsReplaced(file)) {
    parts_.strip.Raise(Notice::kFileReplaced, std::string(kReplacesMessage));
  }
  return true;
}

void SettingsEditor::SaveAndClose() {
  Log(parts_.log, "-[SyncController saveButton:]");
  StoreValues(form_.Values(), settings_, settings_);
  Save();
  parts_.consent.Chosen();
  parts_.prepare(settings_.destination);
  CheckTarget(settings_.destination);
  isOpen_ = false;
  form_.settingsWindow().Close();
  parts_.saved();
}

void SettingsEditor::Cancel() {
  Log(parts_.log, "-[SyncController cancelButton:]");
  CheckTarget(settings_.destination);
  isOpen_ = false;
  form_.settingsWindow().Close();
}

// Shows the lines that the unsaved values in the window would produce.
void SettingsEditor::ShowSamples() {
  StoreValues(form_.Values(), settings_, sample_);
  const bool toApplication = sample_.destination != kToFile && sample_.destination != kToView;
  const auto spelling = toApplication && sample_.bNonEnglish == 0 ? TypedSpelling : VisibleSpelling;
  form_.ShowSamples(spelling(sample_.Line(false)), spelling(sample_.Line(true)));
}

}  // namespace quillet
