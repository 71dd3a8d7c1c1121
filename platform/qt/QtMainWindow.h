#pragma once

#include <memory>

#include "platform/Controls.h"
#include "platform/qt/QtTextView.h"

class QMainWindow;
class QWidget;

namespace quillet::platform::qt {

/// The main window: a toolbar with Connect, Synchronize, the list of ports, Settings and Clear, a
/// menu with the same and their keys, the view of messages and records, and below it how far a run
/// has come. It holds no behaviour: whoever makes it sets what the controls do.
///
/// Main thread only. Needs a QApplication, which it must not outlive if it is destroyed at all.
/// Closing it ends the application's main loop, since it is the only window of its own (a window
/// that has widget() as its parent does not keep the loop alive).
class QtMainWindow {
 public:
  /// Makes the window, hidden.
  QtMainWindow();
  ~QtMainWindow();
  QtMainWindow(const QtMainWindow&) = delete;
  QtMainWindow& operator=(const QtMainWindow&) = delete;

  /// Shows the window, with the keyboard's focus in the view.
  void Show();

  QtTextView& view();
  PopUpList& portList();
  ToolbarItem& connectItem();
  ToolbarItem& synchronizeItem();
  ToolbarItem& settingsItem();
  ToolbarItem& clearItem();
  ProgressDisplay& progress();
  Window& window();

  /// The window itself: the parent for further windows.
  QWidget& widget();

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace quillet::platform::qt
