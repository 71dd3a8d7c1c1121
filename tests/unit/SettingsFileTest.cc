#include "tests/support/AppFixture.h"
#include "tests/support/SystemLine.h"

namespace quillet {
namespace {

using test::FileContents;
using test::PutFile;

class SettingsFileTest : public test::AppFixture {
 protected:
  /// A controller as it is just before it restores its settings.
  void Prepare() {
    controller.lumetfile = new LumetFile(log, clock, files, dataFolder);
    controller.lumetfile->CreateBarcodeDirectory();
    controller.lumet = &test::Immortal<Lumet>(log, clock, test::SystemLine());
  }

  std::string SettingsPath() const { return dataFolder + "/QuilletRegistry.txt"; }
  std::string SavedFile() const { return FileContents(SettingsPath()).value_or("(none)"); }
};

TEST_F(SettingsFileTest, TheFirstRunWritesTheDefaults) {
  Prepare();
  controller.RestoreSettings();
  const std::string file = SavedFile();
  const std::string name = dataFolder + "/sn_timestamp.txt";
  ASSERT_EQ(file.size(), 1023U);
  EXPECT_EQ(file.substr(0, 14), "11134100100100");
  EXPECT_EQ(file.substr(14, 242), std::string(242, '0'));
  EXPECT_EQ(file.substr(256, 128), "/Applications/TextEdit\r" + std::string(105, '0'));
  EXPECT_EQ(file.substr(384), name + "\r" + std::string(1023 - 384 - name.size() - 1, '0'));
  EXPECT_EQ(controller.lumet->filename.Get(), name);
  EXPECT_EQ(controller.lumet->appname.Get(), "/Applications/TextEdit");
  EXPECT_EQ(controller.lumet->destination, 0);
  EXPECT_EQ(controller.lumet->datadelimiter, 3);
  EXPECT_EQ(controller.lumet->bAttachSerial, 1);
  EXPECT_EQ(controller.lumet->bBurstSync, 1);
  EXPECT_EQ(controller.lumet->sn_position, 1);
}

TEST_F(SettingsFileTest, SavingForTheViewOrTheFrontmostApplicationLeavesBothNamesAsTheyWere) {
  Prepare();
  controller.RestoreSettings();
  const std::string names = SavedFile().substr(256);
  for (const int destination : {1, 2}) {
    controller.lumet->filename.Set("/elsewhere");
    controller.lumet->appname.Set("/else");
    controller.lumet->destination = destination;
    controller.SaveSettings();
    EXPECT_EQ(SavedFile().substr(256), names);
    EXPECT_EQ(SavedFile()[7], static_cast<char>('0' + destination));
  }
  controller.lumet->destination = 3;
  controller.SaveSettings();
  EXPECT_EQ(SavedFile().substr(256, 6), "/else\r");
}

TEST_F(SettingsFileTest, AShorterNameLeavesTheTailOfTheOldOneBehindIt) {
  Prepare();
  controller.RestoreSettings();
  controller.lumet->filename.Set("/long/name.txt");
  controller.SaveSettings();
  controller.lumet->filename.Set("/short");
  controller.SaveSettings();
  EXPECT_EQ(SavedFile().substr(384, 15), "/short\rame.txt\r");
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->filename.Get(), "/short");
}

TEST_F(SettingsFileTest, ANameOf127CharactersComesBackAndOneOf128ComesBackEmpty) {
  Prepare();
  controller.RestoreSettings();
  const std::string longest = "/" + std::string(126, 'n');
  controller.lumet->filename.Set(longest);
  controller.lumet->appname.Set(longest);
  controller.SaveSettings();
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->filename.Get(), longest);
  EXPECT_EQ(controller.lumet->appname.Get(), longest);

  controller.lumet->filename.Set("/f");
  controller.lumet->appname.Set(longest + "n");
  controller.SaveSettings();
  EXPECT_EQ(SavedFile().substr(256, 128), longest + "0");
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->appname.Get(), "");
  EXPECT_EQ(controller.lumet->filename.Get(), "/f") << "the next area is untouched";

  controller.lumet->filename.Set(longest + "n");
  controller.SaveSettings();
  EXPECT_EQ(SavedFile().size(), 1023U);
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->filename.Get(), "");
}

TEST_F(SettingsFileTest, AnyOtherCharacterThanOneIsAnOffSwitch) {
  Prepare();
  for (const char character : {'0', '2', 'x', ' ', 'T'}) {
    PutFile(SettingsPath(), std::string(1023, character));
    controller.RestoreSettings();
    EXPECT_EQ(controller.lumet->bAttachSerial, 0) << character;
    EXPECT_EQ(controller.lumet->bNonEnglish, 0) << character;
    EXPECT_EQ(controller.lumet->datadelimiter, character - '0');
  }
  PutFile(SettingsPath(), std::string(1023, '1'));
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->bAttachSerial, 1);
  EXPECT_EQ(controller.lumet->bNonEnglish, 1);
}

TEST_F(SettingsFileTest, EverySettingComesBackFromItsOwnPlace) {
  Prepare();
  controller.RestoreSettings();
  Lumet& lumet = *controller.lumet;
  Word<std::uint8_t>* switches[] = {
      &lumet.bAttachSerial, &lumet.bAttachTimestamp, &lumet.bAttachType,
      &lumet.bSyncClock,    &lumet.bClearMemory,     &lumet.bBurstSync,
      &lumet.bAutoSync,     &lumet.bAppendData,      &lumet.bNonEnglish};
  const std::size_t positions[] = {0, 1, 2, 5, 6, 8, 9, 10, 13};
  for (std::size_t i = 0; i < std::size(positions); ++i) {
    for (auto* each : switches) *each = 0;
    *switches[i] = 1;
    controller.SaveSettings();
    const std::string file = SavedFile();
    for (std::size_t j = 0; j < std::size(positions); ++j) {
      EXPECT_EQ(file[positions[j]], i == j ? '1' : '0');
    }
    for (auto* each : switches) *each = 0;
    controller.RestoreSettings();
    for (auto* each : switches) EXPECT_EQ(*each, each == switches[i] ? 1 : 0);
  }
  lumet.datadelimiter = 1;
  lumet.recorddelimiter = 2;
  lumet.destination = 3;
  lumet.sn_position = 0;
  lumet.dataorder = 5;
  controller.SaveSettings();
  EXPECT_EQ(SavedFile().substr(3, 2), "12");
  EXPECT_EQ(SavedFile()[7], '3');
  EXPECT_EQ(SavedFile().substr(11, 2), "05");
  lumet.datadelimiter = lumet.recorddelimiter = lumet.destination = 9;
  lumet.sn_position = lumet.dataorder = 9;
  controller.RestoreSettings();
  EXPECT_EQ(lumet.datadelimiter, 1);
  EXPECT_EQ(lumet.recorddelimiter, 2);
  EXPECT_EQ(lumet.destination, 3);
  EXPECT_EQ(lumet.sn_position, 0);
  EXPECT_EQ(lumet.dataorder, 5);
}

TEST_F(SettingsFileTest, AnEmptyFileIsReadAndItsNumbersAreNegative) {
  Prepare();
  PutFile(SettingsPath(), "");
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->datadelimiter, -48);
  EXPECT_EQ(controller.lumet->destination, -48);
  EXPECT_EQ(controller.lumet->bSyncClock, 0);
  EXPECT_EQ(controller.lumet->filename.Get(), "");
  EXPECT_EQ(SavedFile(), "") << "a file that was read is not written anew";
}

TEST_F(SettingsFileTest, FilesOfAnyContentAreSurvived) {
  Prepare();
  std::string every;
  for (int i = 0; i < 4096; ++i) every.push_back(static_cast<char>(i * 7));
  for (const std::string& contents :
       {std::string("1"), std::string(1022, '\r'), std::string(100000, '9'), every,
        std::string("\xFF\xFE\x31", 3), std::string(2000, '\0')}) {
    PutFile(SettingsPath(), contents);
    controller.RestoreSettings();
    controller.SaveSettings();
  }
}

TEST_F(SettingsFileTest, AFolderThatCannotBeWrittenLeavesTheDefaultsInForce) {
  PutFile(dataFolder, "a file stands where the folder should be");
  Prepare();
  controller.RestoreSettings();
  EXPECT_TRUE(log.Has("Fail to write"));
  EXPECT_EQ(controller.lumet->datadelimiter, 3);
  EXPECT_EQ(controller.lumet->bAttachType, 1);
  EXPECT_EQ(controller.lumet->destination, 0);
  EXPECT_EQ(controller.lumet->filename.Get(), dataFolder + "/sn_timestamp.txt");
}

TEST_F(SettingsFileTest, NamesOutsideAsciiComeBackAsTheyWere) {
  Prepare();
  controller.RestoreSettings();
  controller.lumet->filename.Set(
      "/B\xC3\xBC"
      "cher/\xE2\x82\xAC.txt");
  controller.SaveSettings();
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->filename.Get(),
            "/B\xC3\xBC"
            "cher/\xE2\x82\xAC.txt");
}

TEST_F(SettingsFileTest, ALongNameThatIsCutWithinACharacterHarmsNoOtherName) {
  Prepare();
  controller.RestoreSettings();
  controller.lumet->appname.Set("/B\xC3\xBC");
  std::string name = "/" + std::string(125, 'n') + "\xE2\x82\xAC tail";
  controller.lumet->filename.Set(name);
  controller.SaveSettings();
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->appname.Get(), "/B\xC3\xBC");
  EXPECT_EQ(controller.lumet->filename.Get(), "");
}

TEST_F(SettingsFileTest, ANameThatLeavesHalfACharacterBehindItHarmsNoOtherName) {
  Prepare();
  controller.RestoreSettings();
  controller.lumet->filename.Set("/home/j\xC3\xBCrgen/sn_timestamp.txt");
  controller.lumet->appname.Set("/opt/caf\xC3\xA9/x");
  controller.SaveSettings();
  controller.lumet->appname.Set("/opt/caf");
  controller.SaveSettings();
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->appname.Get(), "/opt/caf");
  EXPECT_EQ(controller.lumet->filename.Get(), "/home/j\xC3\xBCrgen/sn_timestamp.txt");
}

TEST_F(SettingsFileTest, NamesThatAreNotUtf8ComeBackByteForByte) {
  Prepare();
  controller.RestoreSettings();
  controller.lumet->appname.Set("/opt/caf\xE9");
  controller.lumet->filename.Set(
      "/B\xC3\xBC"
      "cher.txt");
  controller.SaveSettings();
  controller.RestoreSettings();
  EXPECT_EQ(controller.lumet->appname.Get(), "/opt/caf\xE9");
  EXPECT_EQ(controller.lumet->filename.Get(),
            "/B\xC3\xBC"
            "cher.txt");
}

TEST_F(SettingsFileTest, SavingLogsTheNamesThatItWrites) {
  Prepare();
  controller.RestoreSettings();
  log.Clear();
  controller.SaveSettings();
  const auto lines = log.lines();
  EXPECT_EQ(lines[0], "-[SyncController SaveSettings][/Applications/TextEdit]");
  EXPECT_EQ(lines[1], "-[SyncController SaveSettings][" + dataFolder + "/sn_timestamp.txt]");
}

}  // namespace
}  // namespace quillet
