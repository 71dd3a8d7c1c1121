#pragma once

#include <memory>

#include "platform/Controls.h"

class QDialog;
class QWidget;

namespace quillet::platform::qt {

/// The settings window: what each line contains, how its fields are separated, what happens when
/// the scanner is connected, where the records go, and a sample line. It holds no behaviour:
/// whoever makes it fills its lists and sets what its controls do.
///
/// Return presses Save (or the button that has the keyboard), Escape and the window's own closing
/// button press Cancel. On a screen that is too small for everything the choices scroll, and the
/// sample and the buttons stay in sight.
///
/// Main thread only.
class QtSettingsWindow {
 public:
  /// Makes the window, hidden.
  /// @param parent  the main window, which owns it on the screen
  explicit QtSettingsWindow(QWidget& parent);
  ~QtSettingsWindow();
  QtSettingsWindow(const QtSettingsWindow&) = delete;
  QtSettingsWindow& operator=(const QtSettingsWindow&) = delete;

  Window& window();

  CheckBox& attachSerial();
  CheckBox& attachTimestamp();
  CheckBox& attachType();
  PopUpList& dataDelimiter();
  PopUpList& recordDelimiter();
  PopUpList& serialPosition();
  PopUpList& dataOrder();
  CheckBox& syncClock();
  CheckBox& clearMemory();
  CheckBox& burstSync();
  CheckBox& autoSync();
  CheckBox& appendData();
  CheckBox& nonEnglish();
  PopUpList& destination();
  TextField& fileName();
  PushButton& browse();
  PushButton& save();
  PushButton& cancel();
  TextDisplay& olderSample();
  TextDisplay& series300Sample();

  /// The window itself: the parent for panels.
  QWidget& widget();

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace quillet::platform::qt
