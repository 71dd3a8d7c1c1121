#pragma once

#include <QDialog>
#include <memory>

#include "platform/SettingsForm.h"

namespace quillet::platform::qt {

/// The settings window, with all settings and two sample lines.
///
/// Return presses the button that has focus, or Save if no button has focus. Escape and the
/// window's close button press Cancel. On a small screen the settings scroll and the buttons stay
/// visible. If the window is not tall enough, the samples scroll together with the settings.
///
/// Main thread only.
class QtSettingsWindow final : public QDialog, public SettingsForm {
 public:
  /// Creates the window but does not show it.
  /// @param parent   the main window; this window stays in front of it
  /// @param choices  the item titles of every list
  QtSettingsWindow(QWidget& parent, std::span<const ChoiceTitles> choices);
  ~QtSettingsWindow() override;

  void SetActions(SettingsActions actions) override;
  void Show(const SettingsValues& values) override;
  SettingsValues Values() const override;

  /// Shows a path, or its beginning if it is too long for the field.
  void SetPath(std::string_view path) override;
  void SetPathEnabled(bool enabled) override;
  void ShowSamples(std::string_view older, std::string_view series300) override;
  Window& settingsWindow() override;

 protected:
  void reject() override;
  void setVisible(bool visible) override;
  bool event(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
  bool sized_ = false;
};

}  // namespace quillet::platform::qt
