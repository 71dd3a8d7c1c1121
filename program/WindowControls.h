#pragma once

#include "app/SyncController.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtSettingsWindow.h"

namespace quillet {

// The windows' controls under the controller's names.

inline MainWindowControls ControlsOf(platform::qt::QtMainWindow& window) {
  return {.barcodeView = window.view(),
          .portList = window.portList(),
          .connectTavo = window.connectItem(),
          .settings = window.settingsItem(),
          .synchronize = window.synchronizeItem(),
          .clearview = window.clearItem(),
          .progress = window.progress()};
}

inline SettingsWindowControls ControlsOf(platform::qt::QtSettingsWindow& window) {
  return {.settingsWindow = window.window(),
          .attachserial = window.attachSerial(),
          .attachtimestamp = window.attachTimestamp(),
          .attachtype = window.attachType(),
          .datadelimiter = window.dataDelimiter(),
          .recorddelimiter = window.recordDelimiter(),
          .sn_position = window.serialPosition(),
          .dataorder = window.dataOrder(),
          .syncclock = window.syncClock(),
          .clearmemory = window.clearMemory(),
          .burstsync = window.burstSync(),
          .autosync = window.autoSync(),
          .appenddata = window.appendData(),
          .nonenglish = window.nonEnglish(),
          .destination = window.destination(),
          .filenametextfield = window.fileName(),
          .newfileButton = window.browse(),
          .savewindow = window.save(),
          .cancelwindow = window.cancel(),
          .olderSample = window.olderSample(),
          .series300Sample = window.series300Sample()};
}

}  // namespace quillet
