#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "platform/Controls.h"

namespace quillet::platform {

/// The values of the settings window's controls, named after the controls. Each number is the
/// zero-based index of the selected item, or negative if no item is selected. A form sets and reads
/// its controls in the order of the members.
struct SettingsValues {
  ///@{ See `Settings`.
  bool attachserial = false;
  bool attachtimestamp = false;
  bool attachtype = false;
  std::int32_t datadelimiter = -1;
  std::int32_t recorddelimiter = -1;
  std::int32_t sn_position = -1;
  std::int32_t dataorder = -1;
  bool syncclock = false;
  bool clearmemory = false;
  bool burstsync = false;
  bool autosync = false;
  bool appenddata = false;
  bool nonenglish = false;
  std::int32_t destination = -1;
  ///@}
};

/// The item titles of a list in the settings window.
struct ChoiceTitles {
  std::int32_t SettingsValues::*choice;  ///< the member that holds the index of the selected item
  std::span<const std::string_view> titles;  ///< titles by position
};

/// Callbacks for the user's actions.
struct SettingsActions {
  std::function<void()> changed;             ///< a value other than `destination` changed
  std::function<void()> destinationChanged;  ///< `destination` changed
  std::function<void()> browse;              ///< `newfileButton` was pressed
  std::function<void()> save;                ///< `savewindow` was pressed
  std::function<void()> cancel;              ///< `cancelwindow` was pressed
};

/// The settings window: a control for each setting, a path field with a browse button, two sample
/// lines, and buttons to save and cancel. Texts are UTF-8. Main thread only.
class SettingsForm {
 public:
  virtual ~SettingsForm() = default;

  virtual void SetActions(SettingsActions actions) = 0;  ///< call once, before showing the window

  /// Sets all controls without calling the callbacks. Invalid positions clear a list's selection.
  virtual void Show(const SettingsValues& values) = 0;

  virtual SettingsValues Values() const = 0;  ///< returns the values of all controls

  /// Replaces the text of the path field `filenametextfield`. The program never reads the field, so
  /// a path typed by the user has no effect.
  virtual void SetPath(std::string_view path) = 0;

  virtual void SetPathEnabled(bool enabled) = 0;  ///< enables the path field and browse button

  /// Shows the sample lines for an older scanner and for a 300-series scanner.
  virtual void ShowSamples(std::string_view older, std::string_view series300) = 0;

  virtual Window& settingsWindow() = 0;  ///< returns the window
};

}  // namespace quillet::platform
