#include <algorithm>
#include <filesystem>

#include "tests/support/AppFixture.h"
#include "tests/support/SettingsControls.h"
#include "tests/support/SettingsFixture.h"

namespace quillet {
namespace {

using platform::SettingsValues;
using test::kSettingsControls;
using Checked = std::vector<std::pair<std::int32_t, std::string>>;
using Strings = std::vector<std::string>;

class SettingsEditorTest : public test::SettingsFixture {
 protected:
  SettingsEditorTest() { log.Clear(); }

  void SelectDestination(std::int32_t item) { form.Set(&SettingsValues::destination, item); }
  void Browse(const std::optional<std::string>& answer) {
    panels.answer = answer;
    form.Browse();
  }
  void ExpectPath(const std::string& path, bool enabled) {
    EXPECT_EQ(form.path(), path);
    EXPECT_EQ(form.pathEnabled(), enabled);
  }
};

TEST_F(SettingsEditorTest, LogsBothPathsAndShowsTheWindowOnOpen) {
  Open();
  EXPECT_EQ(log.lines(), (Strings{"-[SyncController settingsButton:][" + DefaultFile() +
                                  ",/Applications/TextEdit]"}));
  EXPECT_EQ(form.settingsWindow().doings(), (Strings{"front", "key"}));
}

TEST_F(SettingsEditorTest, ShowsEverySettingOnOpen) {
  for (const bool odd : {false, true}) {
    bool last = odd;
    for (const auto& each : kSettingsControls) {
      each.Store(settings(), (last = !last) ? each.items - 1 : 0);
    }
    Open();
    for (const auto& each : kSettingsControls) {
      EXPECT_EQ(each.Shown(form.Values()), each.Stored(settings())) << each.name;
    }
  }
}

TEST_F(SettingsEditorTest, ShowsANonzeroFlagAsOn) {
  settings().bAppendData = 7;
  Open();
  EXPECT_TRUE(form.Values().appenddata);
  form.Save();
  EXPECT_EQ(settings().bAppendData, 1);
}

TEST_F(SettingsEditorTest, SavesEachChangedValueAtItsOffsetInTheFile) {
  for (const auto& each : kSettingsControls) {
    for (std::int32_t step = 1; step <= each.items; ++step) {
      Open();
      std::string expected = SavedFile();
      const std::int32_t before = each.Stored(settings());
      const std::int32_t value = (before + step) % each.items;
      each.Set(form, value);
      EXPECT_EQ(each.Stored(settings()), before) << "before Save";
      form.Save();
      expected[each.position] = static_cast<char>('0' + value);
      EXPECT_EQ(SavedFile(), expected) << each.name;
      EXPECT_EQ(each.Stored(settings()), value) << each.name;
    }
  }
}

TEST_F(SettingsEditorTest, LogsThePathAndClosesTheWindowOnSave) {
  Open();
  log.Clear();
  form.Save();
  EXPECT_EQ(log.lines().front(), "-[SyncController saveButton:]");
  EXPECT_TRUE(log.Has("-[SyncController SaveSettings][" + DefaultFile() + "]"));
  EXPECT_EQ(form.settingsWindow().doings(), (Strings{"front", "key", "close"}));
}

TEST_F(SettingsEditorTest, AsksForAShorterPath) {
  settings().destination = kToView;
  settings().filename.Set(std::string(128, 'x'));
  Open();
  form.Save();
  EXPECT_EQ(Message(),
            "The path cannot be saved because it is longer than 127 bytes. Choose a shorter path.");
  prepared.clear();
  strip.Press(0);
  EXPECT_EQ(form.Values().destination, kToFile);
  ExpectPath(std::string(128, 'x'), true);
  EXPECT_EQ(prepared, std::vector<std::int32_t>{kToFile});
}

TEST_F(SettingsEditorTest, DropsChangesOnCancel) {
  const std::string before = SavedFile();
  Open();
  for (const auto& each : kSettingsControls) {
    each.Set(form, (each.Stored(settings()) + 1) % each.items);
  }
  log.Clear();
  prepared.clear();
  form.Cancel();
  EXPECT_EQ(log.lines(), (Strings{"-[SyncController cancelButton:]"}));
  EXPECT_TRUE(prepared.empty());
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(SavedFile(), before);
  Open();
  for (const auto& each : kSettingsControls) {
    EXPECT_EQ(each.Stored(settings()), before[each.position] - '0') << each.name;
    EXPECT_EQ(each.Shown(form.Values()), each.Stored(settings())) << each.name;
  }
  ExpectPath(DefaultFile(), true);
}

TEST_F(SettingsEditorTest, KeepsAValueThatMatchesNoListItem) {
  for (const auto& each : kSettingsControls) {
    if (!each.IsList()) continue;
    for (const std::int32_t value : {6, 9, -1}) {
      each.Store(settings(), value);
      Open();
      EXPECT_EQ(each.Shown(form.Values()), -1) << each.name;
      form.Save();
      EXPECT_EQ(each.Stored(settings()), value) << each.name;
      EXPECT_EQ(SavedFile()[each.position], static_cast<char>('0' + value)) << each.name;
    }
  }
}

TEST_F(SettingsEditorTest, ShowsThePathOfTheSelectedDestination) {
  Open();
  log.Clear();
  for (const std::int32_t without : {1, 2}) {
    SelectDestination(without);
    ExpectPath("", false);
    SelectDestination(3);
    ExpectPath("/Applications/TextEdit", true);
    SelectDestination(without);
    SelectDestination(0);
    ExpectPath(DefaultFile(), true);
  }
  EXPECT_EQ(log.lines(), Strings(8, "-[SyncController destinationChanged:]"));
  EXPECT_EQ(settings().destination, 0) << "before Save";
}

TEST_F(SettingsEditorTest, KeepsThePathIfNoDestinationIsSelected) {
  Open();
  settings().destination = 9;
  Open();
  ExpectPath(DefaultFile(), true);
  Browse("/elsewhere");
  EXPECT_EQ(panels.runs, Strings{});
  EXPECT_EQ(filename(), DefaultFile());
}

TEST_F(SettingsEditorTest, BrowseSuggestsAFileNameOrAnApplication) {
  Open();
  log.Clear();
  Browse(DefaultFile());
  SelectDestination(3);
  Browse("/usr/bin/editor");
  EXPECT_EQ(panels.runs, (Strings{"save|" + dataFolder + "|sn_timestamp.txt|" + SettingsPath(),
                                  "open|//Applications|TextEdit.app"}));
  EXPECT_EQ(log.lines(), (Strings{"-[SyncController newfileButtonChanged:]",
                                  "-[SyncController destinationChanged:]",
                                  "-[SyncController newfileButtonChanged:]"}));
  ExpectPath("/usr/bin/editor", true);
  EXPECT_EQ(appname(), "/usr/bin/editor");
  EXPECT_EQ(filename(), DefaultFile());
}

TEST_F(SettingsEditorTest, KeepsThePathsIfThePanelIsCancelled) {
  Open();
  Browse(std::nullopt);
  SelectDestination(3);
  Browse(std::nullopt);
  EXPECT_EQ(panels.runs.size(), 2U);
  ExpectPath("/Applications/TextEdit", true);
  EXPECT_EQ(filename(), DefaultFile());
  EXPECT_EQ(appname(), "/Applications/TextEdit");
}

TEST_F(SettingsEditorTest, KeepsAChosenFileAfterCancel) {
  const std::string before = SavedFile();
  Open();
  Browse("/data/stock.txt");
  ExpectPath("/data/stock.txt", true);
  form.Cancel();
  EXPECT_EQ(filename(), "/data/stock.txt");
  EXPECT_EQ(SavedFile(), before);
  Open();
  ExpectPath("/data/stock.txt", true);
  form.Save();
  EXPECT_EQ(SavedFile().substr(384, 16), "/data/stock.txt\r");
}

TEST_F(SettingsEditorTest, RejectsTheSettingsFileAsOutput) {
  Open();
  std::filesystem::create_symlink(SettingsPath(), folder / "link");
  for (const std::string& path : {SettingsPath(), folder / "link"}) {
    Browse(path);
    EXPECT_EQ(Message(), SettingsEditor::kSettingsFileMessage);
    ExpectPath(DefaultFile(), true);
    EXPECT_EQ(filename(), DefaultFile());
  }
  Browse(folder / "new.txt");
  EXPECT_EQ(Message(), "");
  EXPECT_EQ(filename(), folder / "new.txt");
  SelectDestination(3);
  Browse(SettingsPath());
  EXPECT_EQ(appname(), SettingsPath()) << "not an output file";
}

TEST_F(SettingsEditorTest, WarnsOnceThatRunsReplaceTheChosenFile) {
  Open();
  const std::string path = folder.Put("stock.txt", "old");
  Browse(path);
  EXPECT_TRUE(Message().starts_with("Each synchronization replaces this file.")) << Message();
  form.Set(&SettingsValues::appenddata, true);
  Browse(path);
  EXPECT_EQ(Message(), "");
  form.Set(&SettingsValues::appenddata, false);
  test::PutFile(DefaultFile(), "never replaced");
  for (const std::string& other : {DefaultFile(), folder / "new.txt"}) {
    Browse(other);
    EXPECT_EQ(Message(), "");
  }
}

TEST_F(SettingsEditorTest, IgnoresAPathTypedIntoTheField) {
  const std::string before = SavedFile();
  Open();
  form.Type("/typed/by/hand.txt");
  form.Save();
  EXPECT_EQ(filename(), DefaultFile());
  EXPECT_EQ(SavedFile(), before);
  Open();
  ExpectPath(DefaultFile(), true);
}

TEST_F(SettingsEditorTest, UpdatesTheSamplesAfterEachChange) {
  Open();
  log.Clear();
  EXPECT_EQ(form.older(), "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771⏎");
  EXPECT_EQ(form.series300(), "EAN-13,9780306406157,[2026/11/16:14:07:09],005771⏎");
  form.Set(&SettingsValues::datadelimiter, 1);
  EXPECT_EQ(form.older(), "EAN␣13→9780306406157→[2026/11/16:14:07:09]→005771⏎");
  form.Set(&SettingsValues::attachtimestamp, false);
  EXPECT_EQ(form.older(), "EAN␣13→9780306406157→005771⏎");
  form.Set(&SettingsValues::dataorder, 3);
  EXPECT_EQ(form.older(), "9780306406157→EAN␣13→005771⏎");
  form.Set(&SettingsValues::sn_position, 0);
  EXPECT_EQ(form.older(), "005771→9780306406157→EAN␣13⏎");
  form.Set(&SettingsValues::recorddelimiter, 1);
  EXPECT_EQ(form.older(), "005771→9780306406157→EAN␣13↓");
  form.Set(&SettingsValues::attachserial, false);
  EXPECT_EQ(form.older(), "9780306406157→EAN␣13↓");
  form.Set(&SettingsValues::attachtype, false);
  EXPECT_EQ(form.older(), "9780306406157↓");
  EXPECT_EQ(form.series300(), "9780306406157↓");
  EXPECT_EQ(log.lines(), Strings{});
  EXPECT_EQ(settings().datadelimiter, 3);
  form.Cancel();
  Open();
  EXPECT_EQ(form.older(), "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771⏎");
}

TEST_F(SettingsEditorTest, SampleShowsOnlyCharactersThatWillBeTyped) {
  Open();
  const std::string line = "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771";
  form.Set(&SettingsValues::recorddelimiter, 2);
  EXPECT_EQ(form.older(), line + "←");
  for (const std::int32_t typed : {2, 3}) {
    SelectDestination(typed);
    EXPECT_EQ(form.older(), line);
  }
  form.Set(&SettingsValues::nonenglish, true);
  EXPECT_EQ(form.older(), line + "←") << "the sample shows the pasted text";
  form.Set(&SettingsValues::nonenglish, false);
  form.Set(&SettingsValues::recorddelimiter, 1);
  EXPECT_EQ(form.older(), line + "⏎");
  SelectDestination(1);
  EXPECT_EQ(form.older(), line + "↓");
}

TEST_F(SettingsEditorTest, ShowsASampleDespiteInvalidSettings) {
  settings().sn_position = 5;
  settings().datadelimiter = 4;
  Open();
  EXPECT_EQ(form.older(), "EAN␣13;9780306406157;[2026/11/16:14:07:09]⏎");
  settings().dataorder = -1;
  Open();
  EXPECT_EQ(form.older(), "⏎");
}

/// Tests the Settings button with the complete program.
class SettingsButtonTest : public test::AppFixture {
 protected:
  bool IsOpen() { return form.settingsWindow().IsShown(); }
};

TEST_F(SettingsButtonTest, LogsButIgnoresAPressDuringAConnectionAttempt) {
  auto& connecting = test::Immortal<std::atomic<bool>>(false);
  auto& pressed = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&connecting, &pressed] {
    connecting = true;
    test::WaitFor([&] { return pressed.load(); });
  });
  application.applicationDidFinishLaunching();
  ASSERT_TRUE(test::WaitFor([&] { return connecting.load(); }));
  settings.Press();
  EXPECT_EQ(form.settingsWindow().doings(), Strings{});
  EXPECT_TRUE(log.lines().back().starts_with("-[SyncController settingsButton:]["));
  pressed = true;
  FinishConnecting();
  settings.Press();
  EXPECT_TRUE(IsOpen());
}

TEST_F(SettingsButtonTest, RunKeepsAnOpenWindowButDisablesTheButton) {
  Launch();
  BecomeConnected(test::Scanner({"1"}));
  tavo.Hold("P");
  settings.Press();
  synchronize.Press();
  tavo.WaitUntilHeld();
  mainQueue.RunAll();
  EXPECT_TRUE(controller.bIsUnderSynchronization);
  EXPECT_TRUE(IsOpen());
  form.Save();
  EXPECT_FALSE(IsOpen());
  settings.Press();
  EXPECT_FALSE(IsOpen());
  const std::size_t ends = Ends();
  tavo.Release();
  AwaitEnd(ends);
}

TEST_F(SettingsButtonTest, ControllerPassesEachOperationToTheEditor) {
  Launch();
  log.Clear();
  controller.settingsButton();
  EXPECT_TRUE(IsOpen());
  controller.settingsForm.SetPath("");
  controller.ChangeDestinationInformation();
  EXPECT_EQ(form.path(), dataFolder + "/sn_timestamp.txt");
  controller.destinationChanged();
  controller.newfileButtonChanged();
  controller.cancelButton();
  EXPECT_FALSE(IsOpen());
  controller.saveButton();
  controller.SaveSettings();
  controller.RestoreSettings();
  Strings operations;
  for (const std::string& line : log.lines()) {
    if (line.starts_with("-[SyncController ")) {
      operations.push_back(line.substr(17, line.find_first_of(":]") - 17));
    }
  }
  EXPECT_EQ(operations, (Strings{"settingsButton", "destinationChanged", "newfileButtonChanged",
                                 "cancelButton", "saveButton", "SaveSettings", "SaveSettings",
                                 "SaveSettings", "SaveSettings", "RestoreSettings"}));
}

TEST_F(SettingsEditorTest, ChecksTheApplicationWhenItIsChosenOrSaved) {
  const auto take = [this] { return std::exchange(checked, {}); };
  Open();
  SelectDestination(kToNamedApplication);
  EXPECT_EQ(take(), (Checked{{kToNamedApplication, appname()}}));
  Browse("/usr/bin/editor");
  EXPECT_EQ(take(), (Checked{{kToNamedApplication, "/usr/bin/editor"}}));
  form.Cancel();
  EXPECT_EQ(take(), (Checked{{kToFile, "/usr/bin/editor"}}));
  Open();
  SelectDestination(kToNamedApplication);
  take();
  form.Save();
  EXPECT_EQ(take(), (Checked{{kToNamedApplication, "/usr/bin/editor"}}));
}

TEST_F(SettingsEditorTest, SavesTheApplicationChosenInTheStatusStrip) {
  settings().destination = kToNamedApplication;
  editor().Save();
  panels.answer = "/usr/bin/editor";
  checked.clear();
  editor().ChooseApplication();
  EXPECT_EQ(checked, (Checked{{kToNamedApplication, "/usr/bin/editor"}}));
  Start();
  EXPECT_EQ(appname(), "/usr/bin/editor");
  Open();
  panels.answer = "/usr/bin/other";
  editor().ChooseApplication();
  EXPECT_EQ(form.path(), "/usr/bin/other");
  SelectDestination(kToFile);
  const std::string file = form.path();
  panels.answer = "/usr/bin/editor";
  editor().ChooseApplication();
  EXPECT_EQ(form.path(), file);
  panels.answer.reset();
  editor().ChooseApplication();
  EXPECT_EQ(appname(), "/usr/bin/editor");
}

}  // namespace
}  // namespace quillet
