#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "platform/Controls.h"

namespace quillet::platform {

/// The values of the settings window's controls, each under the name of its control. A choice is
/// the position of the selected item, counted from 0; it is negative if no item is selected.
///
/// The members are in the order in which a form sets and reads its controls.
struct SettingsValues {
  ///@{ See `Settings` for the numbers.
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

/// The titles of a choice's items. A form gets those of every choice when it is created.
struct ChoiceTitles {
  std::int32_t SettingsValues::*choice;      ///< whose titles these are
  std::span<const std::string_view> titles;  ///< by position
};

/// The actions of the user that a form reports.
struct SettingsActions {
  std::function<void()> changed;             ///< a value other than `destination` has changed
  std::function<void()> destinationChanged;  ///< another `destination` is selected
  std::function<void()> browse;              ///< the button `newfileButton` is pressed
  std::function<void()> save;                ///< the button `savewindow` is pressed
  std::function<void()> cancel;              ///< the button `cancelwindow` is pressed
};

/// The settings window: a control for each setting, a path with a button to browse for another
/// one, two sample lines, and buttons to save and to cancel. Texts are UTF-8. Main thread only.
class SettingsForm {
 public:
  virtual ~SettingsForm() = default;

  /// Sets the actions. Called once, before the window is shown.
  virtual void SetActions(SettingsActions actions) = 0;

  /// Sets every control. This is not reported as a change. A choice without an item at the
  /// position has no item selected then.
  virtual void Show(const SettingsValues& values) = 0;

  /// The present values of all controls.
  virtual SettingsValues Values() const = 0;

  /// Replaces the text of the path field, `filenametextfield`. The field cannot be read: a path
  /// that the user types has no effect.
  virtual void SetPath(std::string_view path) = 0;

  /// Allows the user to edit the path field and to press the button that browses, or neither.
  virtual void SetPathEnabled(bool enabled) = 0;

  /// Shows a line as an older scanner and one as a scanner of the 300 series delivers it.
  virtual void ShowSamples(std::string_view older, std::string_view series300) = 0;

  /// The window itself.
  virtual Window& settingsWindow() = 0;
};

}  // namespace quillet::platform
