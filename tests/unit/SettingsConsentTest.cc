#include <sys/stat.h>
#include <unistd.h>

#include "app/SettingsConsent.h"
#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using Strings = std::vector<std::string>;

constexpr char kData[] = "/Users/Shared/QuilletData";
constexpr char kQuestion[] = "These settings come from anna. Do you want to use them?";
constexpr char kMessage[] =
    "Some settings from anna have not been applied yet. Press Review to see what they do.";

struct Values {
  int destination = kToFile;
  std::string path = std::string(kData) + kPlaceholder;
  bool autosync = false, clearmemory = false, appenddata = false;
};

void Set(Settings& settings, const Values& values) {
  settings.destination = values.destination;
  settings.filename.Set(values.path);
  settings.appname.Set(values.path);
  settings.bAutoSync = values.autosync;
  settings.bClearMemory = values.clearmemory;
  settings.bAppendData = values.appenddata;
}

TEST(SensitiveActionsTest, DescribesEachAction) {
  const std::string data = kData;
  const std::string start = "Open this application and deliver the records to it: ";
  const std::string replace =
      "Replace the contents of this file with the records of each synchronization: ";
  const struct {
    Values values;
    Strings effects;
  } cases[] = {
      {{}, {}},
      {{.path = data + "/stock.txt"}, {}},
      {{.path = data + "/stock/sn_timestamp.txt"}, {}},
      {{.destination = kToView, .path = "/home/bea/.profile"}, {}},
      {{.destination = kToActiveApplication, .path = "/tmp/tool"}, {}},
      {{.path = ""}, {}},
      {{.destination = kToNamedApplication, .path = "/tmp/tool"}, {start + "/tmp/tool"}},
      {{.destination = kToNamedApplication, .path = "/tmp/\u202Eloot"},
       {start + "/tmp/\uFFFDloot"}},
      {{.path = "/home/bea/.profile"}, {replace + "/home/bea/.profile"}},
      {{.path = data + "/../x.txt"}, {replace + data + "/../x.txt"}},
      {{.path = data + "/link/x.txt"}, {replace + data + "/link/x.txt"}},
      {{.path = data + ".txt"}, {replace + data + ".txt"}},
      {{.path = "/home/bea/list", .appenddata = true},
       {"Add the records to this file: /home/bea/list"}},
      {{.path = "/home/bea/stock/sn_timestamp.txt"},
       {"Write the records of each synchronization to a new file: /home/bea/stock….txt"}},
      {{.destination = kToActiveApplication, .autosync = true},
       {"Synchronize as soon as the scanner is connected",
        "Type the records into the active application"}},
      {{.autosync = true, .clearmemory = true},
       {"Synchronize as soon as the scanner is connected",
        "Erase the scanner after each synchronization"}},
  };
  for (const auto& each : cases) {
    Settings settings;
    Set(settings, each.values);
    EXPECT_EQ(Described(ActionsOf(settings, kData)), each.effects) << each.values.path;
  }
}

/// Tests how the program starts with another user's settings.
class SettingsConsentTest : public testing::Test {
 protected:
  /// Simulates starting the program. `memory` names the file with the user's confirmed actions.
  void Start(const Values& values, const std::string& memory = "confirmed-settings") {
    mainQueue.RunAll();
    settings = std::make_unique<Settings>();
    Set(*settings, values);
    strip = std::make_unique<StatusStrip>(display, mainQueue, log);
    display.Show("", std::nullopt, {});
    consent = std::make_unique<SettingsConsent>(SettingsConsent::Parts{
        files, *settings, panels, *strip, kData, folder / ("quillet/" + memory),
        [] { return true; }, [this] { ++confirmations; }});
    consent->HoldBack("anna");
    mainQueue.RunAll();
  }

  /// Presses Review and answers the question. Returns each displayed question with its effects.
  Strings Review(bool answer) {
    panels.confirms = answer;
    display.Press(0);
    mainQueue.RunAll();
    return std::exchange(panels.runs, {});
  }

  const Values everything{.destination = kToNamedApplication,
                          .path = "/tmp/tool",
                          .autosync = true,
                          .clearmemory = true};

  test::TemporaryFolder folder;
  test::RecordingLog log;
  test::FakePanels panels;
  test::FakeMainQueue mainQueue;
  test::FakeStatusDisplay display;
  test::HookedFileStore files;
  std::unique_ptr<Settings> settings;
  std::unique_ptr<StatusStrip> strip;
  std::unique_ptr<SettingsConsent> consent;
  int confirmations = 0;
  int changes = 0;
};

TEST_F(SettingsConsentTest, DisablesOnlySensitiveActions) {
  Start(everything);
  EXPECT_EQ(settings->destination, kToView);
  EXPECT_EQ(settings->bAutoSync, 0);
  EXPECT_EQ(settings->bClearMemory, 0);
  EXPECT_EQ(display.text(), kMessage);
  EXPECT_EQ(display.Buttons(), Strings{"Review…"});
  Start({.path = "/home/bea/.profile", .appenddata = true});
  EXPECT_EQ(settings->destination, kToFile);
  EXPECT_EQ(settings->filename.Get(), std::string(kData) + kPlaceholder);
  EXPECT_EQ(settings->bAppendData, 1);
  Start({.destination = kToActiveApplication});
  EXPECT_EQ(settings->destination, kToActiveApplication);
  EXPECT_EQ(display.text(), "");
}

TEST_F(SettingsConsentTest, AppliesConfirmedSettings) {
  Start(everything);
  EXPECT_EQ(Review(true), Strings{std::string(kQuestion) +
                                  "|Open this application and deliver the records to it: /tmp/tool"
                                  "|Synchronize as soon as the scanner is connected"
                                  "|Erase the scanner after each synchronization"});
  EXPECT_EQ(display.text(), "");
  EXPECT_EQ(settings->destination, kToNamedApplication);
  EXPECT_EQ(settings->appname.Get(), "/tmp/tool");
  EXPECT_EQ(settings->bAutoSync, 1);
  EXPECT_EQ(settings->bClearMemory, 1);
  EXPECT_EQ(confirmations, 1);
  Start({.path = "/home/bea/.profile"});
  Review(true);
  EXPECT_EQ(settings->filename.Get(), "/home/bea/.profile");
}

TEST_F(SettingsConsentTest, AsksOncePerChange) {
  Start(everything);
  Review(true);
  Start(everything);
  EXPECT_EQ(display.text(), "");
  EXPECT_EQ(settings->bClearMemory, 1);
  Values changed = everything;
  changed.path = "/tmp/tool2";
  Start(changed);
  EXPECT_EQ(display.text(), kMessage);
  EXPECT_EQ(settings->bClearMemory, 0);
  EXPECT_EQ(confirmations, 1);
  changed.destination = kToView;
  Start(changed);
  Review(true);
  changed.destination = kToActiveApplication;
  Start(changed);
  EXPECT_EQ(display.text(), kMessage) << "automatic runs would now type";
}

TEST_F(SettingsConsentTest, AsksOnceOnAFileSystemWithoutLocks) {
  files.hasLocks = false;
  Start(everything);
  Review(true);
  Start(everything);
  EXPECT_EQ(display.text(), "");
  EXPECT_EQ(settings->bClearMemory, 1);
}

TEST_F(SettingsConsentTest, OffersTheReviewAgainIfTheUserPostponesIt) {
  Start(everything);
  EXPECT_EQ(Review(false).size(), 1U);
  EXPECT_EQ(settings->destination, kToView);
  EXPECT_EQ(confirmations, 0);
  strip->Raise(Notice::kRunFinished, "1 record in 1 s");
  mainQueue.RunAll();
  EXPECT_EQ(display.text(), "1 record in 1 s");
  strip->Withdraw(Notice::kRunFinished);
  mainQueue.RunAll();
  EXPECT_EQ(display.text(), kMessage);
  EXPECT_EQ(Review(true).size(), 1U);
  EXPECT_EQ(settings->destination, kToNamedApplication);
}

TEST_F(SettingsConsentTest, SavingSettingsConfirmsThem) {
  Start(everything);
  settings->bClearMemory = 1;
  consent->Chosen();
  mainQueue.RunAll();
  EXPECT_EQ(display.text(), "");
  Start({.destination = kToView, .clearmemory = true});
  EXPECT_EQ(display.text(), "");
  EXPECT_EQ(settings->bClearMemory, 1);
}

TEST_F(SettingsConsentTest, AsksAgainAfterTheUserTurnsTheActionOff) {
  const Values erasing{.clearmemory = true};
  Start(erasing);
  Review(true);
  settings->bClearMemory = 0;
  consent->Chosen();
  Start(erasing);
  EXPECT_EQ(display.text(), kMessage);
  EXPECT_EQ(settings->bClearMemory, 0);
}

TEST_F(SettingsConsentTest, RemembersEachConfirmation) {
  const auto numbered = [](int number) {
    return Values{.path = "/home/bea/" + std::to_string(number), .clearmemory = true};
  };
  for (int i = 0; i <= SettingsConsent::kMostAnswers; ++i) {
    Start(numbered(i));
    EXPECT_EQ(display.text(), kMessage);
    Review(true);
  }
  for (int i = SettingsConsent::kMostAnswers; i > 0; --i) {
    Start(numbered(i));
    EXPECT_EQ(display.text(), "");
    EXPECT_EQ(settings->filename.Get(), numbered(i).path);
  }
  Start(numbered(0));
  EXPECT_EQ(display.text(), kMessage);
  Start({.clearmemory = true});
  EXPECT_EQ(display.text(), kMessage) << "part of an answer";
}

TEST_F(SettingsConsentTest, SavingSettingsWithdrawsEarlierConsent) {
  const Values both[] = {{.clearmemory = true}, everything};
  for (const Values& values : both) {
    Start(values);
    Review(true);
  }
  settings->bClearMemory = 0;
  consent->Chosen();
  for (const Values& values : both) {
    Start(values);
    EXPECT_EQ(display.text(), kMessage);
    EXPECT_EQ(settings->bClearMemory, 0);
  }
}

TEST_F(SettingsConsentTest, AsksAgainIfConsentWithdrawalCannotBeSaved) {
  const Values erasing{.clearmemory = true};
  Start(erasing);
  Review(true);
  settings->bClearMemory = 0;
  files.isReadOnly = true;
  consent->Chosen();
  for (int i = 0; i < 2; ++i) {
    Start(erasing);
    EXPECT_EQ(display.text(), kMessage);
    EXPECT_EQ(settings->bClearMemory, 0);
    Review(i == 1);
    EXPECT_EQ(settings->bClearMemory, i) << "the answer holds for this session";
  }
  Start(erasing);
  EXPECT_EQ(display.text(), kMessage);
}

TEST_F(SettingsConsentTest, IgnoresAConfirmationFileOwnedByAnotherUser) {
  Start(everything);
  Review(true);
  const std::string confirmed = folder / "quillet/confirmed-settings";
  if (chown(confirmed.c_str(), 1, 1) != 0) GTEST_SKIP() << "not permitted";
  Start(everything);
  EXPECT_EQ(display.text(), kMessage);
  EXPECT_EQ(settings->bClearMemory, 0);
}

TEST_F(SettingsConsentTest, AsksEachOfTwoUsersAtMostOncePerChange) {
  const std::string users[] = {"anna's", "bea's"};
  for (const std::size_t author : {0U, 1U, 1U, 0U}) {
    Values changed = everything;
    changed.path += std::to_string(++changes);
    Start({}, users[author]);
    Set(*settings, changed);
    consent->Chosen();
    Start(changed, users[author]);
    EXPECT_EQ(display.text(), "") << "the author is not asked";
    Start(changed, users[1 - author]);
    EXPECT_EQ(display.text(), kMessage);
    Review(true);
    for (const std::string& user : users) {
      Start(changed, user);
      EXPECT_EQ(display.text(), "");
      EXPECT_EQ(settings->appname.Get(), changed.path);
    }
  }
}

TEST_F(SettingsConsentTest, PermitsSensitiveActionsOnlyAfterConfirmation) {
  for (int destination = -1; destination <= 9; ++destination) {
    for (const char* path : {"", "x", "/x", "/tmp/sn_timestamp.txt", kData}) {
      for (const bool flag : {true, false}) {
        Start({destination, path, flag, !flag, flag});
        EXPECT_EQ(ActionsOf(*settings, kData), SensitiveActions{}) << destination << path;
      }
    }
  }
}

TEST_F(SettingsConsentTest, OnlyTheUserCanReadTheConfirmedActions) {
  const std::string confirmed = folder / "quillet/confirmed-settings";
  const mode_t before = umask(0);
  Start(everything);
  Review(true);
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(confirmed.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  ASSERT_EQ(stat((folder / "quillet").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  EXPECT_EQ(test::FileContents(confirmed), "application /tmp/tool\nsynchronize\nerase\n\n");
}

/// The whole program with another user's settings.
class ForeignSettingsTest : public test::AppFixture {
 protected:
  ForeignSettingsTest() { files.otherUser = "anna"; }

  void Confirm() {
    panels.confirms = true;
    mainQueue.RunAll();
    strip.Press(0);
    mainQueue.RunAll();
  }
};

TEST_F(ForeignSettingsTest, ConfirmationStartsThePendingRun) {
  StartWith({.destination = kToView, .autosync = true});
  LaunchConnected(test::Scanner({"1", "2"}));
  EXPECT_EQ(Ends(), 0U);
  Confirm();
  AwaitEnd(0);
  EXPECT_EQ(View().substr(0, 43), "|Synchronization has started...|1|2|2 barco");
}

TEST_F(ForeignSettingsTest, CannotBeReviewedDuringARun) {
  StartWith({.destination = kToView, .clearmemory = true});
  LaunchConnected(test::Scanner({"1"}));
  tavo.Hold("P");
  synchronize.Press();
  tavo.WaitUntilHeld();
  Confirm();
  EXPECT_EQ(panels.runs, std::vector<std::string>());
  EXPECT_EQ(strip.Message(),
            "A synchronization is in progress. You can review the settings when it has finished.");
  tavo.Release();
  AwaitEnd(0);
  EXPECT_EQ(tavo.Commands().find("E "), std::string::npos);
}

TEST_F(ForeignSettingsTest, ConfirmingAfterARunDoesNotStartAnother) {
  StartWith({.destination = kToView, .autosync = true});
  LaunchConnected(test::Scanner({"1", "2"}));
  Synchronize();
  Confirm();
  tavo.WaitUntilRead();
  EXPECT_EQ(log.Count("-[SyncController DoSynchronization]"), 1U);
}

TEST_F(ForeignSettingsTest, DoesNotOpenProgramsOrEraseUntilConfirmed) {
  applications.installed = {"/tmp/tool"};
  StartWith({.destination = kToNamedApplication, .path = "/tmp/tool", .clearmemory = true});
  LaunchConnected(test::Scanner({"1"}));
  Synchronize();
  EXPECT_TRUE(applications.opened.empty());
  EXPECT_TRUE(keyEvents.posts().empty());
  EXPECT_EQ(tavo.Commands().find("E "), std::string::npos);
  EXPECT_NE(View().find("|1|1 barcodes synchronized|"), std::string::npos) << View();
  EXPECT_EQ(keyEvents.prepared, 0);
  Confirm();
  EXPECT_EQ(keyEvents.prepared, 1);
  Synchronize();
  EXPECT_EQ(applications.opened.front(), "/tmp/tool");
  EXPECT_FALSE(keyEvents.posts().empty());
  AwaitErase();
}

TEST_F(ForeignSettingsTest, UsesTheDefaultFileUntilConfirmed) {
  const std::string file = folder.Put("private.txt", "old");
  StartWith({.path = file});
  LaunchConnected(test::Scanner({"1"}));
  Synchronize();
  EXPECT_EQ(test::FileContents(file), "old");
  EXPECT_TRUE(test::FileContents(controller.syncfileName.Get()).has_value());
  EXPECT_TRUE(controller.syncfileName.Get().starts_with(dataFolder));
  Confirm();
  Synchronize();
  EXPECT_EQ(test::FileContents(file), "1\r\n");
}

TEST_F(ForeignSettingsTest, PathIsUsedOnlyAfterTheUserHasSavedIt) {
  const std::string file = folder.Put("private.txt", "old");
  StartWith({.destination = kToView, .path = file});
  LaunchConnected(test::Scanner({"1"}));
  settings.Press();
  EXPECT_EQ(form.path(), "");
  form.Set(&platform::SettingsValues::destination, kToFile);
  EXPECT_EQ(form.path(), file);
  form.Cancel();
  Synchronize();
  EXPECT_EQ(test::FileContents(file), "old");
  settings.Press();
  form.Set(&platform::SettingsValues::destination, kToFile);
  form.Save();
  Synchronize();
  EXPECT_EQ(test::FileContents(file), "1\r\n");
  EXPECT_TRUE(panels.runs.empty());
}

TEST_F(ForeignSettingsTest, MarksHiddenCharactersInPaths) {
  StartWith({.destination = kToView, .path = "/home/bea/\u202Etxt.elif"});
  Launch();
  settings.Press();
  for (const std::int32_t destination : {kToFile, kToNamedApplication}) {
    form.Set(&platform::SettingsValues::destination, destination);
    EXPECT_EQ(form.path(), "/home/bea/\uFFFDtxt.elif");
  }
}

TEST_F(ForeignSettingsTest, SaveDiscardsUnknownBytesOfAForeignFile) {
  StartWith({.destination = kToView, .path = "/home/bea/list"});
  const std::string path = dataFolder + "/QuilletRegistry.txt";
  std::string text = test::FileContents(path).value();
  text.replace(700, 7, "foreign");
  test::PutFile(path, text);
  Launch();
  settings.Press();
  form.Save();
  const std::string saved = test::FileContents(path).value();
  EXPECT_EQ(saved.size(), 1023U);
  EXPECT_EQ(saved.find("foreign"), std::string::npos);
  EXPECT_EQ(saved.substr(384, 15), "/home/bea/list\r");
}

TEST_F(ForeignSettingsTest, SaveKeepsUnknownBytesInTheUsersFile) {
  files.otherUser.reset();
  StartWith({.destination = kToView, .clearmemory = true});
  const std::string path = dataFolder + "/QuilletRegistry.txt";
  std::string text = test::FileContents(path).value();
  text.replace(700, 3, "own");
  test::PutFile(path, text);
  chmod(dataFolder.c_str(), 0777);
  Launch();
  EXPECT_FALSE(strip.Buttons().empty()) << "the settings are not trusted";
  settings.Press();
  form.Save();
  EXPECT_EQ(test::FileContents(path)->substr(700, 3), "own");
}

TEST_F(ForeignSettingsTest, TrustedSettingsApplyImmediately) {
  files.otherUser.reset();
  StartWith({.destination = kToView, .clearmemory = true, .autosync = true});
  LaunchConnected(test::Scanner({"1"}));
  AwaitEnd(0);
  AwaitErase();
  EXPECT_TRUE(panels.runs.empty());
  EXPECT_FALSE(std::filesystem::exists(folder / "Confirmed"));
}

/// Tests the notice about scans outside runs.
class ScanNoticeTest : public test::AppFixture {
 protected:
  static constexpr char kEditor[] = "/usr/bin/editor";

  void ConnectWith(const test::Choice& choice, const std::vector<std::string>& records = {"1"}) {
    applications.installed = {kEditor};
    StartWith(choice);
    LaunchConnected(test::Scanner(records));
    mainQueue.RunAll();
  }
  std::string MessageAfterScan() {
    tavo.Scan("live");
    mainQueue.RunAll();
    return strip.Message();
  }
};

TEST_F(ScanNoticeTest, IsShownOncePerProgramThatReceivesScans) {
  ConnectWith({.destination = kToActiveApplication});
  EXPECT_EQ(
      MessageAfterScan(),
      "A scan was typed into the active application. To show scans only in Quillet, choose another "
      "destination.");
  EXPECT_EQ(strip.Buttons(), Strings{"Open settings"});
  strip.Press(0);
  EXPECT_TRUE(form.settingsWindow().IsShown());
  form.Cancel();
  EXPECT_EQ(MessageAfterScan(), "");
  Choose(kToNamedApplication, kEditor);
  Change(&platform::SettingsValues::nonenglish, true);
  EXPECT_EQ(
      MessageAfterScan(),
      "A scan was pasted into editor. To show scans only in Quillet, choose another destination.");
}

TEST_F(ScanNoticeTest, IsNotShownForAProgramThatReceivedRecords) {
  ConnectWith({.destination = kToNamedApplication, .path = kEditor});
  Synchronize();
  mainQueue.RunAll();
  const std::string finished = strip.Message();
  EXPECT_EQ(MessageAfterScan(), finished);
}

TEST_F(ScanNoticeTest, IsShownForTheFirstScanThatIsTyped) {
  ConnectWith({.destination = kToActiveApplication}, {});
  tavo.Scan("caf\u00E9");
  Synchronize();  // removes the message saying that the scan cannot be typed
  mainQueue.RunAll();
  EXPECT_FALSE(strip.Message().starts_with("A scan was ")) << strip.Message();
  EXPECT_EQ(MessageAfterScan().substr(0, 17), "A scan was typed ");
}

TEST_F(ScanNoticeTest, IsNotShownForScansDeliveredToTheView) {
  ConnectWith({.destination = kToView});
  EXPECT_EQ(MessageAfterScan(), "");
}

}  // namespace
}  // namespace quillet
