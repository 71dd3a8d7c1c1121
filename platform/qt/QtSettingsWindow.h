#pragma once

#include <QDialog>
#include <memory>

#include "platform/SettingsForm.h"

namespace quillet::platform::qt {

/// The settings window: what each line contains, how its fields are separated, what happens when
/// the scanner is connected, where the records go, and two sample lines.
///
/// Return presses Save (or the button that has focus). Escape and the window's close button press
/// Cancel. On a screen that is too small for everything the choices scroll, and the samples and the
/// buttons stay visible.
///
/// Main thread only.
class QtSettingsWindow final : public QDialog, public SettingsForm {
 public:
  /// Creates the window, hidden.
  /// @param parent   the main window, which this window stays in front of
  /// @param choices  the titles of the lists' items
  QtSettingsWindow(QWidget& parent, std::span<const ChoiceTitles> choices);
  ~QtSettingsWindow() override;

  void SetActions(SettingsActions actions) override;
  void Show(const SettingsValues& values) override;
  SettingsValues Values() const override;

  /// The text is shown from its beginning, however long it is.
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
