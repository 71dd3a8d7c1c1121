#include "tests/support/SettingsControls.h"
#include "tests/support/SettingsFixture.h"

namespace quillet {
namespace {

using test::kSettingsControls;
using test::PutFile;

class SettingsFileTest : public test::SettingsFixture {
 protected:
  /// Saves settings with these two paths and restarts the program.
  void SaveAndStart(std::string_view appname, std::string_view filename) {
    settings().appname.Set(appname);
    settings().filename.Set(filename);
    editor().Save();
    Start();
  }
};

TEST_F(SettingsFileTest, WritesTheDefaultsOnTheFirstStart) {
  const std::string name = DefaultFile();
  EXPECT_EQ(SavedFile(), "11134100100100" + std::string(242, '0') + "/Applications/TextEdit\r" +
                             std::string(105, '0') + name + "\r" +
                             std::string(1023 - 384 - name.size() - 1, '0'));
  EXPECT_EQ(filename(), name);
  EXPECT_EQ(appname(), "/Applications/TextEdit");
  for (const auto& each : kSettingsControls) {
    EXPECT_EQ(each.Stored(settings()), SavedFile()[each.position] - '0') << each.name;
  }
}

TEST_F(SettingsFileTest, KeepsSavedPathsIfTheDestinationHasNoPath) {
  const std::string names = SavedFile().substr(256);
  settings().filename.Set("/elsewhere");
  settings().appname.Set("/else");
  for (const int destination : {1, 2}) {
    settings().destination = destination;
    log.Clear();
    editor().Save();
    EXPECT_EQ(SavedFile().substr(256), names);
    EXPECT_EQ(SavedFile()[7], static_cast<char>('0' + destination));
    EXPECT_EQ(log.Count("-[SyncController SaveSettings][/else]"), 0U);
  }
  settings().destination = 3;
  log.Clear();
  editor().Save();
  EXPECT_EQ(SavedFile().substr(256, 6), "/else\r");
  EXPECT_EQ(log.lines()[0], "-[SyncController SaveSettings][/else]");
  EXPECT_EQ(log.lines()[1], "-[SyncController SaveSettings][/elsewhere]");
}

TEST_F(SettingsFileTest, ShorterPathOverwritesOnlyTheStartOfALongerOne) {
  SaveAndStart("/app", "/long/name.txt");
  SaveAndStart("/app", "/short");
  EXPECT_EQ(SavedFile().substr(384, 15), "/short\rame.txt\r");
  EXPECT_EQ(filename(), "/short");
}

TEST_F(SettingsFileTest, RestoresPathsOfUpTo127Bytes) {
  const std::string longest = "/" + std::string(126, 'n');
  SaveAndStart(longest, longest);
  EXPECT_EQ(appname(), longest);
  EXPECT_EQ(filename(), longest);
  SaveAndStart(longest + "n", "/f");
  EXPECT_EQ(SavedFile().substr(256, 128), longest + "0");
  EXPECT_EQ(appname(), "");
  EXPECT_EQ(filename(), "/f") << "the second name is restored";
  SaveAndStart("/app", longest + "n");
  EXPECT_EQ(SavedFile().size(), 1023U);
  EXPECT_EQ(filename(), "");
}

TEST_F(SettingsFileTest, RestoresPathsByteForByte) {
  const std::string utf8 =
      "/B\xC3\xBC"
      "cher/\xE2\x82\xAC.txt";
  SaveAndStart("/app", utf8);
  EXPECT_EQ(filename(), utf8);
  SaveAndStart("/opt/caf\xE9", utf8);
  EXPECT_EQ(appname(), "/opt/caf\xE9") << "names need not be UTF-8";
  EXPECT_EQ(filename(), utf8);
}

TEST_F(SettingsFileTest, TruncatedCharacterDoesNotAffectTheOtherPath) {
  // The saved file name is truncated in the middle of U+20AC.
  SaveAndStart("/B\xC3\xBC", "/" + std::string(125, 'n') + "\xE2\x82\xAC tail");
  EXPECT_EQ(appname(), "/B\xC3\xBC");
  EXPECT_EQ(filename(), "");
  // The second application name overwrites the first one up to the middle of a character.
  SaveAndStart("/opt/caf\xC3\xA9/x", "/home/j\xC3\xBCrgen/sn_timestamp.txt");
  SaveAndStart("/opt/caf", "/home/j\xC3\xBCrgen/sn_timestamp.txt");
  EXPECT_EQ(appname(), "/opt/caf");
  EXPECT_EQ(filename(), "/home/j\xC3\xBCrgen/sn_timestamp.txt");
}

TEST_F(SettingsFileTest, ReadsAFlagAsOffUnlessItsCharacterIs1) {
  for (const char character : {'0', '2', 'x', ' ', 'T', '1'}) {
    PutFile(SettingsPath(), std::string(1023, character));
    Start();
    for (const auto& each : kSettingsControls) {
      EXPECT_EQ(each.Stored(settings()), each.IsList() ? character - '0' : character == '1')
          << each.name << character;
    }
  }
}

TEST_F(SettingsFileTest, SavesAndRestoresEachSettingAtItsOffsetInTheFile) {
  for (const auto& changed : kSettingsControls) {
    for (const auto& each : kSettingsControls) each.Store(settings(), &each == &changed);
    editor().Save();
    const std::string saved = SavedFile();
    Start();
    for (const auto& each : kSettingsControls) {
      EXPECT_EQ(saved[each.position], &each == &changed ? '1' : '0') << each.name;
      EXPECT_EQ(each.Stored(settings()), &each == &changed) << each.name;
    }
  }
}

TEST_F(SettingsFileTest, ListSettingsAreMinus48IfTheFileIsEmpty) {
  PutFile(SettingsPath(), "");
  Start();
  for (const auto& each : kSettingsControls) {
    EXPECT_EQ(each.Stored(settings()), each.IsList() ? -'0' : 0) << each.name;
  }
  EXPECT_EQ(filename(), "");
  EXPECT_EQ(SavedFile(), "") << "reading must not write the file";
}

TEST_F(SettingsFileTest, SurvivesAnyFileContents) {
  std::string every;
  for (int i = 0; i < 4096; ++i) every.push_back(static_cast<char>(i * 7));
  // Missing characters are read as NULs. The saved file ends before the first NUL.
  const std::pair<std::string, std::size_t> cases[] = {{"1", 3},
                                                       {std::string(1022, '\r'), 1022},
                                                       {std::string(100000, '9'), 1023},
                                                       {every, 256},
                                                       {"\xFF\xFE\x31", 3},
                                                       {std::string(2000, '\0'), 3}};
  for (const auto& [contents, size] : cases) {
    PutFile(SettingsPath(), contents);
    for (int start = 0; start < 2; ++start) {
      Start();
      editor().Save();
      EXPECT_EQ(SavedFile().size(), size);
    }
  }
}

TEST_F(SettingsFileTest, UsesTheDefaultsIfTheFileCannotBeWritten) {
  std::filesystem::remove_all(dataFolder);
  PutFile(dataFolder, "a file in place of the folder");
  Start();
  EXPECT_TRUE(log.Has("Fail to write"));
  EXPECT_EQ(settings().datadelimiter, 3);
  EXPECT_EQ(settings().bAttachType, 1);
  EXPECT_EQ(settings().destination, 0);
  EXPECT_EQ(filename(), DefaultFile());
}

}  // namespace
}  // namespace quillet
