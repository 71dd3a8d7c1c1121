#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "app/StatusStrip.h"
#include "device/Settings.h"
#include "platform/FileStore.h"
#include "platform/Panels.h"

namespace quillet {

/// The actions that require the user's consent if another user has chosen the settings.
struct SensitiveActions {
  std::string application = {};  ///< path of the program to start, or empty
  std::string file = {};         ///< path of the output file if outside the data folder, or empty
  bool appends = false;          ///< records are appended to `file`
  bool synchronizes = false;     ///< runs begin automatically
  bool types = false;            ///< automatic runs type or paste into the active application
  bool erases = false;           ///< runs erase the scanner
  bool operator==(const SensitiveActions&) const = default;  ///< compares all members
};

/// Returns the sensitive actions that the settings would cause. Writing to the default output path
/// is not sensitive.
/// @param settings    the current settings
/// @param dataFolder  absolute path of the data folder
SensitiveActions ActionsOf(const Settings& settings, const std::string& dataFolder);

/// Returns a description of each action for the user: one sentence without a full stop.
std::vector<std::string> Described(const SensitiveActions& actions);

/// Holds back the sensitive actions of settings that another user has chosen, until the user who
/// runs Quillet confirms them in a dialog. The other settings apply immediately.
///
/// In the meantime, automatic runs and erasing are disabled. Records for a program are shown in the
/// main view, and records for a file outside the data folder are written to the default output
/// file. The confirmed actions are stored in a private file, so the user is asked once per change.
/// The file has no effect if it belongs to another user. It also has no effect if its folder is
/// read-only, because the user could not revoke the stored answers. Main thread only.
class SettingsConsent {
 public:
  /// Maximum number of confirmed answers that are remembered. A new one replaces the oldest.
  static constexpr int kMostAnswers = 16;

  /// The objects that SettingsConsent uses. All must outlive it.
  struct Parts {
    platform::FileStore& files;  ///< reads and writes `confirmed`
    Settings& settings;          ///< the current settings
    platform::Panels& panels;    ///< shows the dialog
    StatusStrip& strip;          ///< shows that settings are withheld
    std::string dataFolder;      ///< absolute path of the data folder
    std::string confirmed;       ///< file for the confirmed actions; if empty, they are not stored
    std::function<bool()> mayReview;  ///< during a run, shows a message and returns false
    std::function<void()> onConfirm;  ///< called when withheld settings take effect
  };

  explicit SettingsConsent(Parts parts) : parts_(std::move(parts)) {}  ///< see Parts
  SettingsConsent(const SettingsConsent&) = delete;
  SettingsConsent& operator=(const SettingsConsent&) = delete;

  /// Called after another user's settings have been read. Holds back their sensitive actions,
  /// unless the user has confirmed the same actions and has not saved settings since then.
  /// @param owner  name of the user who can change the settings; may be empty
  void HoldBack(const std::string& owner);

  /// Called when the user has saved settings. The saved settings replace any settings that are held
  /// back. They count as confirmed, even if the settings file could not be written. Withdraws all
  /// earlier answers.
  void Chosen();

 private:
  void UseSubstitutes();
  void Ask();
  void PutInForce();
  void Show(Notice notice);
  bool IsConfirmed(const SensitiveActions& actions) const;
  std::string Answers() const;
  bool Store(const std::string& answers) const;

  const Parts parts_;
  bool isForeign_ = false;  // another user could have written the settings file
  std::string owner_;
  SensitiveActions held_;
};

}  // namespace quillet
