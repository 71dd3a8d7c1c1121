#pragma once

#include <string>

#include "base/SystemLog.h"
#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/Controls.h"
#include "platform/FileStore.h"
#include "platform/KeyEvents.h"
#include "platform/MainQueue.h"
#include "platform/Panels.h"
#include "platform/Pasteboard.h"
#include "platform/SerialLine.h"
#include "platform/SerialRegistry.h"
#include "platform/Ticker.h"
#include "platform/Workspace.h"

namespace quillet {

/// The interfaces to the operating system and the toolkit. All objects outlive the controller.
struct Platform {
  ///@{ See the headers in platform/.
  SystemLog& log;
  platform::Clock& clock;
  platform::SerialLine& line;
  platform::FileStore& files;
  platform::MainQueue& mainQueue;
  platform::SerialRegistry& registry;
  platform::Workspace& workspace;
  platform::Panels& panels;
  platform::Ticker& ticker;
  platform::KeyEvents& keyEvents;
  platform::Pasteboard& pasteboard;
  platform::Applications& applications;
  ///@}
};

/// Absolute paths of the program's folders and files.
struct Paths {
  std::string data;            ///< folder of settings and output files; shared by all users
  std::string archive;         ///< the user's archive of received records
  std::string guide = {};      ///< path of the user guide; empty if it is not installed
  std::string confirmed = {};  ///< path of the file with the confirmed settings; may be empty
};

/// The controls of the main window. Main thread.
struct MainWindowControls {
  ///@{ See platform/Controls.h.
  platform::TextView& barcodeView;
  platform::PopUpList& portList;
  platform::ToolbarItem& connectTavo;
  platform::ToolbarItem& settings;
  platform::ToolbarItem& synchronize;
  platform::ToolbarItem& clearview;
  platform::ToolbarItem& earlierRuns;
  platform::StatusDisplay& status;
  ///@}
};

}  // namespace quillet
