#pragma once

#include "app/SyncController.h"
#include "tests/support/FakePlatform.h"

namespace quillet::test {

/// The settings window's controls under their own names, without a window.
struct FakeSettingsWindow {
  SettingsWindowControls Controls() {
    return {.settingsWindow = settingsWindow,
            .attachserial = attachserial,
            .attachtimestamp = attachtimestamp,
            .attachtype = attachtype,
            .datadelimiter = datadelimiter,
            .recorddelimiter = recorddelimiter,
            .sn_position = sn_position,
            .dataorder = dataorder,
            .syncclock = syncclock,
            .clearmemory = clearmemory,
            .burstsync = burstsync,
            .autosync = autosync,
            .appenddata = appenddata,
            .nonenglish = nonenglish,
            .destination = destination,
            .filenametextfield = filenametextfield,
            .newfileButton = newfileButton,
            .savewindow = savewindow,
            .cancelwindow = cancelwindow,
            .olderSample = olderSample,
            .series300Sample = series300Sample};
  }

  FakeWindow settingsWindow;
  FakeCheckBox attachserial, attachtimestamp, attachtype;
  FakePopUpList datadelimiter, recorddelimiter, sn_position, dataorder;
  FakeCheckBox syncclock, clearmemory, burstsync, autosync, appenddata, nonenglish;
  FakePopUpList destination;
  FakeTextField filenametextfield;
  FakePushButton newfileButton, savewindow, cancelwindow;
  FakeTextDisplay olderSample, series300Sample;
};

}  // namespace quillet::test
