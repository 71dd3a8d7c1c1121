#include <gtest/gtest.h>

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

  test::TemporaryFolder folder;
  test::RecordingLog log;
  test::FakeClock clock;
  platform::posix::PosixFileStore files;
  LumetFile file{log, clock, files, folder / "Shared/QuilletData"};
  SerialNumberField serial{"0000123456"};
};

TEST_F(LumetFileTest, APathWithoutThePlaceholderIsWrittenAsGivenReplacingOrGrowing) {
  const std::string path = folder / "out.txt";
  EXPECT_EQ(Resolve(path), path);
  file.WriteDataToFile(path, "one", false, false);
  file.WriteDataToFile(path, "two", false, false);
  EXPECT_EQ(FileContents(path), "two");
  file.WriteDataToFile(path, "three", false, true);
  EXPECT_EQ(FileContents(path), "twothree");
  EXPECT_EQ(log.Count("Success"), 3U);
}

TEST_F(LumetFileTest, TwoRunsWithinASecondShareTheirNameAndTheSecondReplacesTheFirst) {
  const std::string configured = folder.path() + kPlaceholder;
  const std::string first = Resolve(configured);
  EXPECT_EQ(first, folder.path() + "123456_20140305_140709.txt");
  EXPECT_EQ(Resolve(configured), first);
  file.WriteDataToFile(first, "one", false, false);
  file.WriteDataToFile(Resolve(configured), "two", false, false);
  EXPECT_EQ(FileContents(first), "two");
  file.WriteDataToFile(Resolve(configured), "three", false, true);
  EXPECT_EQ(FileContents(first), "twothree");
  std::filesystem::remove(first);
}

TEST_F(LumetFileTest, APlaceholderThatStandsTwiceGetsTheSameNameInBothPlaces) {
  EXPECT_EQ(Resolve("/a/sn_timestamp.txt/b/sn_timestamp.txt"),
            "/a123456_20140305_140709.txt/b123456_20140305_140709.txt");
}

TEST_F(LumetFileTest, BeforeAnyScannerTheNameBeginsWithSixZeros) {
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("0000000000")), "000000_20140305_140709.txt");
}

TEST_F(LumetFileTest, AGarbledSerialNumberLeadsIntoNoOtherFolder) {
  EXPECT_EQ(file.GetSyncFileName(SerialNumberField("1234/../\x1b\x7f")),
            "_..____20140305_140709.txt");
}

TEST_F(LumetFileTest, AppendingToAFileThatIsNotThereCreatesItWithTheNewDataOnly) {
  file.WriteDataToFile(folder / "new.txt", "data", false, true);
  EXPECT_EQ(FileContents(folder / "new.txt"), "data");
}

TEST_F(LumetFileTest, NothingButTheSettingsFileIsRead) {
  file.CreateBarcodeDirectory();
  PutFile(file.dataFolder() + "/QuilletRegistry.txt", "settings");
  char buffer[16] = "untouched";
  EXPECT_FALSE(file.ReadDataFromFile(buffer, false));
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_TRUE(file.ReadDataFromFile(buffer, true));
  EXPECT_STREQ(buffer, "settings");
}

TEST_F(LumetFileTest, TheFolderIsCreatedWithThoseAboveIt) {
  file.CreateBarcodeDirectory();
  EXPECT_TRUE(std::filesystem::is_directory(folder / "Shared/QuilletData"));
  file.CreateBarcodeDirectory();
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"-[LumetFile CreateBarcodeDirectory]",
                                                   "-[LumetFile CreateBarcodeDirectory]"}));
}

TEST_F(LumetFileTest, AFolderThatCannotBeCreatedIsLogged) {
  PutFile(folder / "Shared", "a file stands here");
  file.CreateBarcodeDirectory();
  EXPECT_TRUE(log.Has("Error to create directory " + file.dataFolder()));
}

TEST_F(LumetFileTest, AFailedWriteIsLoggedAndHarmsNothing) {
  const std::string absent = folder / "absent/out.txt";
  file.WriteDataToFile(absent, "data", true, false);
  EXPECT_TRUE(log.Has("-[LumetFile WriteDataToFile::::][" + absent + "]data"));
  EXPECT_TRUE(log.Has("Fail to write"));
}

TEST_F(LumetFileTest, TheTextThatAFileHeldIsKeptInFrontWhateverItsEncoding) {
  const std::string path = folder / "out.txt";
  PutFile(path, std::string("\xFF\xFE"
                            "a\0",
                            4));
  file.WriteDataToFile(path, "b", false, true);
  EXPECT_EQ(FileContents(path), "ab");
  PutFile(path, "\xE9");
  file.WriteDataToFile(path, "b", false, true);
  EXPECT_EQ(FileContents(path),
            "\xC3\xA9"
            "b");
}

TEST_F(LumetFileTest, AMissingSettingsFileLeavesTheBufferAlone) {
  char buffer[16] = "untouched";
  EXPECT_FALSE(file.ReadRegistry(buffer));
  EXPECT_STREQ(buffer, "untouched");
}

TEST_F(LumetFileTest, ALongSettingsFileIsCutToTheBuffer) {
  file.CreateBarcodeDirectory();
  PutFile(file.dataFolder() + "/QuilletRegistry.txt", std::string(5000, 'x'));
  char buffer[8];
  EXPECT_TRUE(file.ReadRegistry(buffer));
  EXPECT_STREQ(buffer, "xxxxxxx");
}

TEST_F(LumetFileTest, TheSettingsAreSavedUpToTheirFirstNul) {
  file.CreateBarcodeDirectory();
  const char image[] = {'a', 'b', '\0', 'c', '\0'};
  file.SaveRegistry(image);
  EXPECT_EQ(FileContents(file.dataFolder() + "/QuilletRegistry.txt"), "ab");
}

TEST_F(LumetFileTest, TheDataFolderOfTheProductIsShared) {
  LumetFile product(log, clock, files);
  EXPECT_EQ(product.dataFolder(), "/Users/Shared/QuilletData");
}

}  // namespace
}  // namespace quillet
