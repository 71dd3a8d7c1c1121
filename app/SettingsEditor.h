#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "app/SettingsConsent.h"
#include "app/StatusStrip.h"
#include "base/SystemLog.h"
#include "device/Settings.h"
#include "output/LumetFile.h"
#include "output/SampleLine.h"
#include "output/SettingsImage.h"
#include "platform/Panels.h"
#include "platform/SettingsForm.h"

namespace quillet {

/// Loads, edits and saves the user's settings. Its log lines begin with the name of the
/// SyncController function that was called. Main thread only.
class SettingsEditor {
 public:
  /// Shown after an attempt to use the settings file as the output file.
  static constexpr std::string_view kSettingsFileMessage =
      "Records cannot be written to the settings file. Choose another file.";

  /// The objects that the editor uses. All outlive the editor.
  struct Parts {
    SystemLog& log;                ///< the system log
    LumetFile& file;               ///< settings file and data folder
    SettingsImage& image;          ///< contents of the settings file
    Settings& settings;            ///< the settings to edit
    platform::SettingsForm& form;  ///< the settings window
    platform::Panels& panels;      ///< file dialogs
    StatusStrip& strip;            ///< the status strip

    /// Checks the application to which records will be delivered; see TargetApplication.
    std::function<void(std::int32_t destination, const std::string& application)> checkTarget;

    /// Prepares for typing; see ApplicationDelivery. Called when the user chooses a destination.
    std::function<void(std::int32_t destination)> prepare;

    /// Returns whether the settings window may open now. If not, shows the user why.
    std::function<bool()> mayOpen;
    std::function<void()> saved;  ///< called after the user has saved the settings

    SettingsConsent& consent;  ///< withholds settings that another user saved
  };

  /// Sets the actions of the form.
  explicit SettingsEditor(const Parts& parts);
  SettingsEditor(const SettingsEditor&) = delete;
  SettingsEditor& operator=(const SettingsEditor&) = delete;

  void Save();     ///< writes the settings file; shows errors in the status strip
  void Restore();  ///< reads the settings file; if that fails, sets and saves the defaults

  /// Logs the call. Opens the settings window and shows the settings if `mayOpen` permits it.
  void Open();

  /// Updates the path and the samples after the user selects a destination. The setting itself
  /// changes when the user saves.
  void DestinationChanged();

  /// Shows the path for the selected destination: the file, the application, or an empty path.
  /// Makes hidden characters visible, because Save confirms the path even if another user chose it.
  void ChangeDestinationInformation();

  /// Lets the user choose the file or the application. The choice takes effect immediately and
  /// Cancel does not revert it. If the user chooses the settings file, shows a message and keeps
  /// the previous path. Also shows a message if runs will replace the chosen file.
  void Browse();

  /// Lets the user choose the application that receives the records. If the current destination is
  /// an application, saves the choice immediately. Can be called while the settings window is
  /// closed.
  void ChooseApplication();

  void SaveAndClose();  ///< applies and saves the values in the window, then closes it
  void Cancel();        ///< closes the window; a path chosen with Browse stays in effect

 private:
  bool Accepts(const std::string& file);
  void CheckTarget(std::int32_t destination);
  void CheckPaths();
  void Choose(std::int32_t destination);
  RegistryRead RestoreDefaults();
  void ShowSamples();

  const Parts parts_;
  Settings& settings_;
  platform::SettingsForm& form_;
  SampleComposer sample_;
  bool isOpen_ = false;
};

}  // namespace quillet
