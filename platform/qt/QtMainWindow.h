#pragma once

#include <QMainWindow>

#include "platform/qt/QtPopUpList.h"
#include "platform/qt/QtStatusDisplay.h"
#include "platform/qt/QtTextView.h"
#include "platform/qt/QtToolbarItem.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/RecordView.h"

namespace quillet::platform::qt {

/// The main window: a toolbar and menus, the main view and the status strip. The caller sets the
/// actions of the controls.
///
/// Main thread only. Needs a QApplication. Destroy the window before the QApplication, or not at
/// all. Closing the window ends the application's main loop.
class QtMainWindow {
 public:
  /// Creates the window but does not show it.
  QtMainWindow();

  /// Shows the window, with the focus in the view.
  void Show();

  QtTextView& view() { return view_; }
  PopUpList& portList() { return portList_; }
  ToolbarItem& connectItem() { return connectItem_; }
  ToolbarItem& synchronizeItem() { return synchronizeItem_; }
  ToolbarItem& settingsItem() { return settingsItem_; }
  ToolbarItem& clearItem() { return clearItem_; }
  ToolbarItem& earlierRunsItem() { return earlierRunsItem_; }  ///< shown in the menu only
  StatusDisplay& status() { return status_; }
  Window& window() { return window_; }

  /// Returns the window as a widget, for example as the parent of other windows. A window with this
  /// parent does not keep the main loop running.
  QWidget& widget() { return frame_; }

 private:
  void SetUpView();
  void SetUpToolbar();
  QWidget* PortPanel();
  void SetUpMenus();

  QMainWindow frame_;  // owns the widgets and actions
  RecordView& recordView_;
  QComboBox& portBox_;

  QtTextView view_;
  QtPopUpList portList_;
  QtToolbarItem connectItem_;
  QtToolbarItem synchronizeItem_;
  QtToolbarItem settingsItem_;
  QtToolbarItem clearItem_;
  QtToolbarItem earlierRunsItem_;
  QtStatusDisplay status_;
  QtWindow window_;
};

}  // namespace quillet::platform::qt
