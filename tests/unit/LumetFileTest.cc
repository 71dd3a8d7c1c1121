#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "output/LumetFile.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet {
namespace {

using test::FileContents;
using test::PutFile;

class LumetFileTest : public ::testing::Test {
 protected:
  LumetFileTest() { clock.Set({2014, 3, 5, 14, 7, 9}); }

  std::string Resolve(const std::string& configured) {
    return ResolveSyncFileName(configured, [&] { return file.GetSyncFileName(serial); });
  }

  /// Creates the data folder and a settings file in it.
  void PutSettings(std::string_view contents) {
    file.CreateBarcodeDirectory();
    PutFile(settingsPath, contents);
  }

  test::TemporaryFolder folder;
  test::RecordingLog log;
  test::FakeClock clock;
  platform::posix::PosixFileStore files;
  LumetFile file{log, clock, files, folder / "Shared/QuilletData"};
  SerialNumberField serial{"0000123456"};
  const std::string path = folder / "out.txt";
  const std::string settingsPath = folder / "Shared/QuilletData/QuilletRegistry.txt";
};

TEST_F(LumetFileTest, RemovesUnfinishedFilesNextToTheOutputFile) {
  const std::string unfinished = folder / ".out.txt.quillet-abcdefghijkl";
  PutFile(unfinished, "half");
  EXPECT_EQ(file.RemoveUnfinished(path), 1U);
  EXPECT_FALSE(FileContents(unfinished));
}

TEST_F(LumetFileTest, ReplacesOrAppendsToTheFile) {
  file.WriteDataToFile(path, "one", false, true);
  EXPECT_EQ(FileContents(path), "one") << "creates a missing file";
  file.WriteDataToFile(path, "two", false, false);
  EXPECT_EQ(FileContents(path), "two");
  file.WriteDataToFile(path, "three", false, true);
  EXPECT_EQ(FileContents(path), "twothree");
  EXPECT_EQ(log.Count("Success"), 3U);
}

TEST_F(LumetFileTest, InsertsTheNumberBeforeTheExtension) {
  std::filesystem::create_directory(folder / "1.2");
  for (const auto& [name, numbered] : {std::pair("list.txt", "list_2.txt"),
                                       {"list", "list_2"},
                                       {".list", ".list_2"},
                                       {"1.2/list", "1.2/list_2"}}) {
    PutFile(folder / name, "");
    std::string created = folder / name;
    EXPECT_EQ(file.CreateNumbered(created, "new"), platform::FileStore::Created::kYes);
    EXPECT_EQ(created, folder / numbered);
    EXPECT_EQ(FileContents(created), "new");
  }
}

TEST_F(LumetFileTest, ReplacesEachPlaceholderInAPath) {
  EXPECT_EQ(Resolve("/a/out.txt"), "/a/out.txt");
  EXPECT_EQ(Resolve(std::string("/a") + kPlaceholder), "/a123456_20140305_140709.txt");
  EXPECT_EQ(Resolve("/a/sn_timestamp.txt/b/sn_timestamp.txt"),
            "/a123456_20140305_140709.txt/b123456_20140305_140709.txt");
}

TEST_F(LumetFileTest, ReplacesUnsafeSerialCharactersInFileNames) {
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("0000000000")), "000000_20140305_140709.txt");
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("1234/. /\x1f\x7f")),
            "_. _\x1f\x7f_20140305_140709.txt");
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("1234\n\xE2\x80\xAE")),
            "\n\xE2\x80\xAE_20140305_140709.txt");
  EXPECT_EQ(FileNamePart(std::string("a\0b", 3)), "a_b");
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("1234\xC3\xA9\xFF\xC3")),
            "\xC3\xA9___20140305_140709.txt");
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("123\xC3\xA9\x35")), "_5_20140305_140709.txt");
}

TEST_F(LumetFileTest, ReadsOnlyTheSettingsFile) {
  char buffer[16] = "untouched";
  EXPECT_FALSE(file.ReadRegistry(buffer));
  PutSettings("settings");
  EXPECT_FALSE(file.ReadDataFromFile(buffer, false));
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_TRUE(file.ReadDataFromFile(buffer, true));
  EXPECT_STREQ(buffer, "settings");
}

TEST_F(LumetFileTest, CreatesTheDataFolderAndItsParents) {
  file.CreateBarcodeDirectory();
  EXPECT_TRUE(std::filesystem::is_directory(folder / "Shared/QuilletData"));
  file.CreateBarcodeDirectory();
  EXPECT_EQ(log.lines(), std::vector<std::string>(2, "-[LumetFile CreateBarcodeDirectory]"));
}

TEST_F(LumetFileTest, LogsIfTheDataFolderCannotBeCreated) {
  PutFile(folder / "Shared", "a file in place of the folder");
  file.CreateBarcodeDirectory();
  EXPECT_TRUE(log.Has("Error to create directory " + file.dataFolder()));
}

TEST_F(LumetFileTest, LogsIfTheFileCannotBeWritten) {
  const std::string absent = folder / "absent/out.txt";
  file.WriteDataToFile(absent, "data", true, false);
  EXPECT_TRUE(log.Has("-[LumetFile WriteDataToFile::::][" + absent + "]data"));
  EXPECT_TRUE(log.Has("Fail to write"));
}

TEST_F(LumetFileTest, ConvertsTheExistingTextToUtf8WhenAppending) {
  const std::pair<std::string, const char*> cases[] = {
      {std::string("\xFF\xFE"
                   "a\0",
                   4),
       "ab"},
      {"\xE9",
       "\xC3\xA9"
       "b"},
  };
  for (const auto& [old, both] : cases) {
    PutFile(path, old);
    file.WriteDataToFile(path, "b", false, true);
    EXPECT_EQ(FileContents(path), both);
  }
}

TEST_F(LumetFileTest, TruncatesSettingsToTheBufferSize) {
  PutSettings(std::string(5000, 'x'));
  char buffer[8];
  EXPECT_TRUE(file.ReadRegistry(buffer));
  EXPECT_STREQ(buffer, "xxxxxxx");
}

TEST_F(LumetFileTest, SavesSettingsUpToTheFirstNul) {
  file.CreateBarcodeDirectory();
  const char image[] = {'a', 'b', '\0', 'c', '\0'};
  file.SaveRegistry(image);
  EXPECT_EQ(FileContents(settingsPath), "ab");
}

TEST_F(LumetFileTest, ReportsWhetherOthersCanWriteTheSettings) {
  PutSettings("settings");
  char buffer[16];
  EXPECT_EQ(file.ReadRegistry(buffer).custody, platform::Custody::kTrusted);
  chmod(settingsPath.c_str(), 0666);
  EXPECT_EQ(file.ReadRegistry(buffer).custody, platform::Custody::kForeign);
}

TEST_F(LumetFileTest, DoesNotSaveSettingsThroughALink) {
  PutSettings("settings");
  std::filesystem::rename(settingsPath, path);
  std::filesystem::create_symlink(path, settingsPath);
  char buffer[16] = "untouched";
  EXPECT_EQ(file.ReadRegistry(buffer).error, ELOOP);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(file.SaveRegistry(buffer).error, ELOOP);
  EXPECT_EQ(FileContents(path), "settings");
}

TEST_F(LumetFileTest, EinvalIsNotReportedAsANonRegularFile) {
  constexpr std::string_view kText = "the path is not a regular file";
  EXPECT_EQ(ReasonText(platform::kNotRegular), kText);
  // FAT and NTFS report EINVAL for names with a colon.
  EXPECT_NE(ReasonText(EINVAL), kText);
}

TEST_F(LumetFileTest, UsesTheSharedDataFolderByDefault) {
  EXPECT_EQ(LumetFile(log, clock, files).dataFolder(), "/Users/Shared/QuilletData");
}

}  // namespace
}  // namespace quillet
