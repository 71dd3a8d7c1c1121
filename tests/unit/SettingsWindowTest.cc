#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "output/SettingsImage.h"
#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using Strings = std::vector<std::string>;

class SettingsWindowTest : public test::AppFixture {
 protected:
  SettingsWindowTest() {
    Launch();
    log.Clear();
  }

  bool IsOpen() const { return choices.settingsWindow.IsShown(); }
  std::string RegistryPath() const { return dataFolder + "/QuilletRegistry.txt"; }
  std::string Registry() const { return test::FileContents(RegistryPath()).value_or(""); }
  std::string DefaultFile() const { return dataFolder + "/sn_timestamp.txt"; }

  void Open() {
    settings.Press();
    ASSERT_TRUE(IsOpen());
  }

  /// Every switch of the record with its box, in the order of their positions in the file.
  struct Switch {
    std::size_t position;
    Word<std::uint8_t> Settings::*field;
    test::FakeCheckBox& box;
  };
  std::vector<Switch> Switches() {
    return {{0, &Settings::bAttachSerial, choices.attachserial},
            {1, &Settings::bAttachTimestamp, choices.attachtimestamp},
            {2, &Settings::bAttachType, choices.attachtype},
            {5, &Settings::bSyncClock, choices.syncclock},
            {6, &Settings::bClearMemory, choices.clearmemory},
            {8, &Settings::bBurstSync, choices.burstsync},
            {9, &Settings::bAutoSync, choices.autosync},
            {10, &Settings::bAppendData, choices.appenddata},
            {13, &Settings::bNonEnglish, choices.nonenglish}};
  }

  /// Every number of the record with its list.
  struct Number {
    std::size_t position;
    Word<std::int32_t> Settings::*field;
    test::FakePopUpList& list;
    std::int32_t items;
  };
  std::vector<Number> Numbers() {
    return {{3, &Settings::datadelimiter, choices.datadelimiter, 5},
            {4, &Settings::recorddelimiter, choices.recorddelimiter, 5},
            {7, &Settings::destination, choices.destination, 4},
            {11, &Settings::sn_position, choices.sn_position, 2},
            {12, &Settings::dataorder, choices.dataorder, 6}};
  }
};

TEST_F(SettingsWindowTest, OpeningLogsBothNamesBringsTheWindowForwardAndThenGivesItTheKeyboard) {
  settings.Press();
  EXPECT_EQ(log.lines(), (Strings{"-[SyncController settingsButton:][" + DefaultFile() +
                                  ",/Applications/TextEdit]"}));
  EXPECT_EQ(choices.settingsWindow.doings(), (Strings{"front", "key"}));
}

TEST_F(SettingsWindowTest, OpeningWhileConnectingOnlyLogs) {
  controller.bConnecting = true;
  settings.Press();
  EXPECT_EQ(choices.settingsWindow.doings(), Strings{});
  EXPECT_EQ(log.lines().size(), 1U);
  controller.bConnecting = false;
  settings.Press();
  EXPECT_TRUE(IsOpen());
}

TEST_F(SettingsWindowTest, OpeningWhileSynchronizingOnlyLogs) {
  controller.bIsUnderSynchronization = true;
  settings.Press();
  EXPECT_EQ(choices.settingsWindow.doings(), Strings{});
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(SettingsWindowTest, ARunThatStartsLeavesTheOpenWindowAlone) {
  Open();
  BecomeConnected();
  controller.synchronizeButton();
  mainQueue.RunAll();
  EXPECT_TRUE(controller.bIsUnderSynchronization);
  EXPECT_TRUE(IsOpen());
  choices.savewindow.Press();
  EXPECT_FALSE(IsOpen());
  EXPECT_TRUE(log.Has("-[SyncController saveButton:]"));
}

TEST_F(SettingsWindowTest, EveryListHoldsAnItemForEachNumber) {
  for (const Number& number : Numbers()) {
    EXPECT_EQ(number.list.NumberOfItems(), number.items) << number.position;
    for (std::int32_t i = 0; i < number.items; ++i) EXPECT_NE(number.list.ItemTitle(i), "");
  }
}

TEST_F(SettingsWindowTest, OpeningShowsEverySetting) {
  for (const bool odd : {false, true}) {
    bool on = odd;
    for (const Switch& entry : Switches()) {
      controller.lumet->*entry.field = static_cast<std::uint8_t>(on);
      on = !on;
    }
    for (const Number& entry : Numbers()) {
      controller.lumet->*entry.field = odd ? entry.items - 1 : 0;
    }
    settings.Press();
    on = odd;
    for (const Switch& entry : Switches()) {
      EXPECT_EQ(entry.box.IsOn(), on) << entry.position;
      on = !on;
    }
    for (const Number& entry : Numbers()) {
      EXPECT_EQ(entry.list.SelectedItem(), odd ? entry.items - 1 : 0) << entry.position;
    }
  }
}

TEST_F(SettingsWindowTest, AFlagOtherThanZeroShowsAsOn) {
  controller.lumet->bAppendData = 7;
  Open();
  EXPECT_TRUE(choices.appenddata.IsOn());
  choices.savewindow.Press();
  EXPECT_EQ(controller.lumet->bAppendData, 1);
}

TEST_F(SettingsWindowTest, EachSwitchIsSavedInItsPlaceAndNowhereElse) {
  for (const Switch& entry : Switches()) {
    Open();
    const std::string before = Registry();
    const bool was = entry.box.IsOn();
    entry.box.SetOn(!was);
    EXPECT_EQ(controller.lumet->*entry.field, was) << "not before the window is saved";
    choices.savewindow.Press();
    std::string expected = before;
    expected[entry.position] = was ? '0' : '1';
    EXPECT_EQ(Registry(), expected) << entry.position;
    EXPECT_EQ(controller.lumet->*entry.field, !was);
  }
}

TEST_F(SettingsWindowTest, EachNumberIsSavedInItsPlaceAndNowhereElse) {
  for (const Number& entry : Numbers()) {
    for (std::int32_t i = 0; i < entry.items; ++i) {
      Open();
      std::string expected = Registry();
      expected[entry.position] = static_cast<char>('0' + i);
      entry.list.SelectItem(i);
      choices.savewindow.Press();
      EXPECT_EQ(Registry(), expected) << entry.position;
      EXPECT_EQ(controller.lumet->*entry.field, i);
    }
  }
}

TEST_F(SettingsWindowTest, SavingLogsWritesAndCloses) {
  Open();
  log.Clear();
  choices.savewindow.Press();
  EXPECT_EQ(log.lines().front(), "-[SyncController saveButton:]");
  EXPECT_TRUE(log.Has("-[SyncController SaveSettings][" + DefaultFile() + "]"));
  EXPECT_EQ(choices.settingsWindow.doings(), (Strings{"front", "key", "close"}));
  EXPECT_EQ(Registry().size(), 1023U);
}

TEST_F(SettingsWindowTest, CancellingDropsTheChangesAndTheNextOpeningShowsTheSettings) {
  const std::string before = Registry();
  Open();
  log.Clear();
  choices.attachtype.SetOn(false);
  choices.datadelimiter.SelectItem(1);
  choices.destination.SelectItem(2);
  log.Clear();
  choices.cancelwindow.Press();
  EXPECT_EQ(log.lines(), (Strings{"-[SyncController cancelButton:]"}));
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(Registry(), before);
  EXPECT_EQ(controller.lumet->datadelimiter, 3);
  Open();
  EXPECT_TRUE(choices.attachtype.IsOn());
  EXPECT_EQ(choices.datadelimiter.SelectedItem(), 3);
  EXPECT_EQ(choices.destination.SelectedItem(), 0);
  EXPECT_EQ(choices.filenametextfield.text(), DefaultFile());
}

TEST_F(SettingsWindowTest, AStoredValueOutsideItsListSelectsNothingAndSavingKeepsIt) {
  for (const std::int32_t value : {6, 9}) {
    for (const Number& entry : Numbers()) controller.lumet->*entry.field = value;
    settings.Press();
    for (const Number& entry : Numbers()) EXPECT_EQ(entry.list.SelectedItem(), -1);
    choices.savewindow.Press();
    for (const Number& entry : Numbers()) {
      EXPECT_EQ(controller.lumet->*entry.field, value) << entry.position;
      EXPECT_EQ(Registry()[entry.position], static_cast<char>('0' + value)) << entry.position;
    }
  }
}

TEST_F(SettingsWindowTest, TheDestinationListLocksAndClearsThePathOrShowsIt) {
  Open();
  log.Clear();
  for (const std::int32_t without : {1, 2}) {
    choices.destination.SelectItem(without);
    EXPECT_EQ(choices.filenametextfield.text(), "");
    EXPECT_FALSE(choices.filenametextfield.editable());
    EXPECT_FALSE(choices.newfileButton.enabled());
    choices.destination.SelectItem(3);
    EXPECT_EQ(choices.filenametextfield.text(), "/Applications/TextEdit");
    EXPECT_TRUE(choices.filenametextfield.editable());
    EXPECT_TRUE(choices.newfileButton.enabled());
    choices.destination.SelectItem(without);
    choices.destination.SelectItem(0);
    EXPECT_EQ(choices.filenametextfield.text(), DefaultFile());
    EXPECT_TRUE(choices.filenametextfield.editable());
    EXPECT_TRUE(choices.newfileButton.enabled());
  }
  EXPECT_EQ(log.Count("-[SyncController destinationChanged:]"), 8U);
  EXPECT_EQ(log.lines().size(), 8U);
  EXPECT_EQ(controller.lumet->destination, 0) << "only saving changes it";
}

TEST_F(SettingsWindowTest, FillingTheWindowIsNoChangeOfDestination) {
  controller.lumet->destination = 2;
  Open();
  EXPECT_FALSE(log.Has("-[SyncController destinationChanged:]"));
  EXPECT_FALSE(choices.filenametextfield.editable());
}

TEST_F(SettingsWindowTest, WithoutASelectedDestinationThePathStaysAndBrowsingDoesNothing) {
  Open();
  controller.lumet->destination = 9;
  settings.Press();
  EXPECT_EQ(choices.filenametextfield.text(), DefaultFile());
  EXPECT_TRUE(choices.newfileButton.enabled());
  panels.answer = "/elsewhere";
  choices.newfileButton.Press();
  EXPECT_EQ(panels.runs(), Strings{});
  EXPECT_EQ(controller.lumet->filename.Get(), DefaultFile());
}

TEST_F(SettingsWindowTest, BrowsingForAFileProposesThePlaceholderInTheDataFolder) {
  Open();
  log.Clear();
  panels.answer = DefaultFile();
  choices.newfileButton.Press();
  EXPECT_EQ(panels.runs(), (Strings{"save|" + dataFolder + "|sn_timestamp.txt"}));
  EXPECT_EQ(log.lines(), (Strings{"-[SyncController newfileButtonChanged:]"}));
  EXPECT_EQ(controller.lumet->filename.Get(), DefaultFile());
}

TEST_F(SettingsWindowTest, BrowsingForAnApplicationBeginsAtTheApplications) {
  Open();
  choices.destination.SelectItem(3);
  panels.answer = "/usr/bin/editor";
  choices.newfileButton.Press();
  EXPECT_EQ(panels.runs(), (Strings{"open|//Applications|TextEdit.app"}));
  EXPECT_EQ(choices.filenametextfield.text(), "/usr/bin/editor");
  EXPECT_EQ(controller.lumet->appname.Get(), "/usr/bin/editor");
  EXPECT_EQ(controller.lumet->filename.Get(), DefaultFile());
}

TEST_F(SettingsWindowTest, ACancelledPanelLeavesEverythingAsItWas) {
  Open();
  panels.answer = std::nullopt;
  choices.newfileButton.Press();
  choices.destination.SelectItem(3);
  choices.newfileButton.Press();
  EXPECT_EQ(panels.runs().size(), 2U);
  EXPECT_EQ(choices.filenametextfield.text(), "/Applications/TextEdit");
  EXPECT_EQ(controller.lumet->filename.Get(), DefaultFile());
  EXPECT_EQ(controller.lumet->appname.Get(), "/Applications/TextEdit");
}

TEST_F(SettingsWindowTest, ABrowsedFileStaysWhenTheWindowIsCancelledAndIsWrittenAtTheNextSave) {
  const std::string before = Registry();
  Open();
  panels.answer = "/data/stock.txt";
  choices.newfileButton.Press();
  EXPECT_EQ(choices.filenametextfield.text(), "/data/stock.txt");
  choices.cancelwindow.Press();
  EXPECT_EQ(controller.lumet->filename.Get(), "/data/stock.txt");
  EXPECT_EQ(Registry(), before);
  Open();
  EXPECT_EQ(choices.filenametextfield.text(), "/data/stock.txt");
  choices.savewindow.Press();
  EXPECT_EQ(Registry().substr(kFileNamePosition, 16), "/data/stock.txt\r");
}

TEST_F(SettingsWindowTest, ATypedPathIsIgnored) {
  const std::string before = Registry();
  Open();
  choices.filenametextfield.Type("/typed/by/hand.txt");
  choices.savewindow.Press();
  EXPECT_EQ(controller.lumet->filename.Get(), DefaultFile());
  EXPECT_EQ(Registry(), before);
  Open();
  EXPECT_EQ(choices.filenametextfield.text(), DefaultFile());
}

TEST_F(SettingsWindowTest, SavingADestinationWithoutAPathKeepsThePathsInTheFile) {
  const std::string names = Registry().substr(kApplicationNamePosition);
  // Even where others have been chosen meanwhile.
  panels.answer = "/data/stock.txt";
  Open();
  choices.newfileButton.Press();
  EXPECT_EQ(controller.lumet->filename.Get(), "/data/stock.txt");
  for (const std::int32_t without : {1, 2}) {
    Open();
    choices.destination.SelectItem(without);
    choices.savewindow.Press();
    EXPECT_EQ(Registry()[7], static_cast<char>('0' + without));
    EXPECT_EQ(Registry().substr(kApplicationNamePosition), names);
  }
}

TEST_F(SettingsWindowTest, WhatWasSavedIsShownAfterANewStart) {
  Open();
  choices.attachserial.SetOn(false);
  choices.nonenglish.SetOn(true);
  choices.datadelimiter.SelectItem(1);
  choices.dataorder.SelectItem(5);
  choices.destination.SelectItem(1);
  choices.savewindow.Press();
  controller.lumet->datadelimiter = 0;
  controller.RestoreSettings();
  Open();
  EXPECT_FALSE(choices.attachserial.IsOn());
  EXPECT_TRUE(choices.nonenglish.IsOn());
  EXPECT_EQ(choices.datadelimiter.SelectedItem(), 1);
  EXPECT_EQ(choices.dataorder.SelectedItem(), 5);
  EXPECT_EQ(choices.destination.SelectedItem(), 1);
}

TEST_F(SettingsWindowTest, TheSampleFollowsEveryChoiceBeforeAnythingIsSaved) {
  Open();
  const auto sample = [&] { return choices.olderSample.text(); };
  EXPECT_EQ(sample(), "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771⏎");
  EXPECT_EQ(choices.series300Sample.text(), "EAN-13,9780306406157,[2026/11/16:14:07:09],005771⏎");
  choices.datadelimiter.SelectItem(1);
  EXPECT_EQ(sample(), "EAN␣13→9780306406157→[2026/11/16:14:07:09]→005771⏎");
  choices.attachtimestamp.SetOn(false);
  EXPECT_EQ(sample(), "EAN␣13→9780306406157→005771⏎");
  choices.dataorder.SelectItem(3);
  EXPECT_EQ(sample(), "9780306406157→EAN␣13→005771⏎");
  choices.sn_position.SelectItem(0);
  EXPECT_EQ(sample(), "005771→9780306406157→EAN␣13⏎");
  choices.recorddelimiter.SelectItem(1);
  EXPECT_EQ(sample(), "005771→9780306406157→EAN␣13↓");
  choices.attachserial.SetOn(false);
  EXPECT_EQ(sample(), "9780306406157→EAN␣13↓");
  choices.attachtype.SetOn(false);
  EXPECT_EQ(sample(), "9780306406157↓");
  EXPECT_EQ(choices.series300Sample.text(), "9780306406157↓");
  choices.cancelwindow.Press();
  Open();
  EXPECT_EQ(sample(), "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771⏎");
}

TEST_F(SettingsWindowTest, TheSampleForTypingShowsWhatKeysCanSay) {
  Open();
  const auto sample = [&] { return choices.olderSample.text(); };
  choices.recorddelimiter.SelectItem(2);
  const std::string line = "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771";
  EXPECT_EQ(sample(), line + "←");
  for (const std::int32_t typed : {2, 3}) {
    choices.destination.SelectItem(typed);
    EXPECT_EQ(sample(), line) << "a carriage return is not typed";
  }
  choices.nonenglish.SetOn(true);
  EXPECT_EQ(sample(), line + "←") << "and is pasted";
  choices.nonenglish.SetOn(false);
  choices.recorddelimiter.SelectItem(1);
  EXPECT_EQ(sample(), line + "⏎");
  choices.destination.SelectItem(1);
  EXPECT_EQ(sample(), line + "↓");
}

TEST_F(SettingsWindowTest, TheSampleShowsStoredValuesThatNoItemStandsFor) {
  controller.lumet->sn_position = 5;
  controller.lumet->datadelimiter = 4;
  Open();
  EXPECT_EQ(choices.olderSample.text(), "EAN␣13;9780306406157;[2026/11/16:14:07:09]⏎");
  controller.lumet->dataorder = 7;
  settings.Press();
  EXPECT_EQ(choices.olderSample.text(), "⏎");
}

TEST_F(SettingsWindowTest, MakingASampleTouchesNeitherTheLogNorTheSession) {
  Open();
  log.Clear();
  choices.datadelimiter.SelectItem(2);
  EXPECT_EQ(log.lines(), Strings{});
  EXPECT_EQ(controller.lumet->datadelimiter, 3);
  EXPECT_EQ(controller.lumet->BarcodeBufferOffset, 0);
}

}  // namespace
}  // namespace quillet
