#pragma once

#include <cstdint>

#include "base/SystemLog.h"
#include "device/Settings.h"
#include "output/LumetFile.h"
#include "output/SampleLine.h"
#include "output/SettingsImage.h"
#include "platform/Panels.h"
#include "platform/SettingsForm.h"

namespace quillet {

/// Restores the user's settings from their file, has the user edit them in the settings window, and
/// saves them. Main thread only.
///
/// It logs under the name of the controller, whose operations these are.
class SettingsEditor {
 public:
  /// What it works on. Everything outlives it.
  struct Parts {
    SystemLog& log;                ///< the system log
    LumetFile& file;               ///< reads and writes the settings file
    SettingsImage& image;          ///< the settings file's text
    Settings& settings;            ///< the record that is edited
    platform::SettingsForm& form;  ///< the settings window
    platform::Panels& panels;      ///< choose a file or an application
  };

  /// Sets the form's actions.
  explicit SettingsEditor(const Parts& parts);
  SettingsEditor(const SettingsEditor&) = delete;
  SettingsEditor& operator=(const SettingsEditor&) = delete;

  /// Writes the settings file; a failure is only logged.
  void Save();

  /// Reads the settings file. If there is none, sets and saves the settings of a first start.
  void Restore();

  /// Opens the window and fills it from the settings.
  /// @param busy  an attempt to connect or a run is in progress, and this call is only logged
  void Open(bool busy);

  /// Shows the path for another selected destination. The record keeps its destination until the
  /// user saves.
  void DestinationChanged();

  /// Shows the path for the selected destination: the file, the application, or none.
  void ChangeDestinationInformation();

  /// Has the user choose the file or the application. The choice takes effect at once: closing the
  /// window without saving does not revert it.
  void Browse();

  /// Stores the values of the window, saves them and closes the window.
  void SaveAndClose();

  /// Closes the window. A path chosen in the meantime stays in effect.
  void Cancel();

 private:
  void RestoreDefaults();
  void ShowSamples();

  const Parts parts_;
  Settings& settings_;
  platform::SettingsForm& form_;
  SampleComposer sample_;
};

}  // namespace quillet
