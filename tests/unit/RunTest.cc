#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "app/Run.h"
#include "tests/support/FakeClock.h"
#include "tests/support/HookedFileStore.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet {
namespace {

using test::FileContents;

class RunTest : public testing::Test {
 protected:
  RunTest() {
    settings.filename.Set(folder / "stock.txt");
    settings.destination = 0;
  }

  /// Executes steps: "B" begins a run, "E" ends the run, a digit selects a destination, a
  /// lower-case letter adds a record with that letter, and "_" adds an empty record.
  /// @return the displayed texts and, after each "E", the contents of the file in braces
  std::string Play(std::string_view steps) {
    shown.clear();
    for (const char step : steps) {
      if (step == 'B') {
        run.Begin(settings.destination);
      } else if (step == 'E') {
        result = run.End(settings, serial, file);
        shown += "{" + FileContents(folder / "stock.txt").value_or("no file") + "}";
      } else if (step >= '0' && step <= '9') {
        settings.destination = step - '0';
      } else {
        run.Add(step == '_' ? "" : std::string(1, step), settings.destination, lines++);
      }
    }
    return shown;
  }

  std::string Written(const std::string& count) const {
    return "|Synchronized to " + folder.path() + "/stock.txt|" + count + " barcodes synchronized|";
  }

  test::TemporaryFolder folder;
  test::RecordingLog log;
  test::FakeClock clock;
  test::HookedFileStore files;
  LumetFile file{log, clock, files, folder.path()};
  Settings settings;
  SerialNumberField serial{"0000123456"};
  std::string shown;
  quillet::Run::Result result;
  std::int64_t lines = 0;
  quillet::Run run{log, [this](std::string_view text, bool newline) {
                     shown += text;
                     if (newline) shown += "|";
                     std::replace(shown.begin(), shown.end(), '\n', '|');
                   }};
};

TEST_F(RunTest, WritesRecordsAndShowsPathAndCount) {
  EXPECT_EQ(Play("BabE"), "." + Written("2") + "{ab}");
  EXPECT_EQ(Play("BcE"), "." + Written("1") + "{c}");
  EXPECT_EQ(run.syncfileName.Get(), folder / "stock.txt");
}

TEST_F(RunTest, ShowsADotForTheFirstOfEvery64Records) {
  EXPECT_EQ(Play("B" + std::string(64, 'a')), ".");
  EXPECT_EQ(Play("a" + std::string(63, 'a')), ".");
  EXPECT_EQ(Play("aa"), ".");
}

TEST_F(RunTest, ReportsTheLastContiguousRangeOfWrittenLines) {
  const auto onDisk = [this](std::string_view steps) {
    Play(steps);
    return std::pair(result.linesOnDisk.first, result.linesOnDisk.end);
  };
  EXPECT_EQ(onDisk("BabE"), std::pair(0L, 2L));
  EXPECT_EQ(onDisk("BE"), std::pair(0L, 0L));
  EXPECT_EQ(onDisk("cBd1e0fgE"), std::pair(5L, 7L)) << "another destination for e";
  settings.filename.Set(folder / "absent/out.txt");
  EXPECT_EQ(onDisk("BaE"), std::pair(0L, 0L));
}

TEST_F(RunTest, AppendsToTheFileIfAppendIsOn) {
  settings.bAppendData = 1;
  EXPECT_EQ(Play("BaEBbE"), "." + Written("1") + "{a}." + Written("1") + "{ab}");
}

TEST_F(RunTest, WritesAnEmptyFileIfAllRecordsAreEmpty) {
  EXPECT_EQ(Play("B__E"), "." + Written("2") + "{}");
}

TEST_F(RunTest, DoesNotWriteAFileIfThereAreNoRecords) {
  EXPECT_EQ(Play("BE"), "No data to synchronize...|{no file}");
}

TEST_F(RunTest, WritesAFileOnlyForTheFileDestination) {
  EXPECT_EQ(Play("1BaE2BbE3BcE"),
            "1 barcodes synchronized|{no file}1 barcodes synchronized|{no file}"
            "1 barcodes synchronized|{no file}");
}

TEST_F(RunTest, KeepsTheFileIfNoRecordIsDeliveredToIt) {
  test::PutFile(folder / "stock.txt", "kept");
  EXPECT_EQ(Play("B1a0E"), "1 barcodes synchronized|{kept}");
  EXPECT_TRUE(log.Has("-[SyncController SynchronizeFinished]: no records to write"));
}

TEST_F(RunTest, WritesOnlyRecordsAddedAfterChoosingTheFile) {
  EXPECT_EQ(Play("1Ba0bcE"), "." + Written("3") + "{bc}");
}

TEST_F(RunTest, CountsButDropsARecordOutsideARun) {
  EXPECT_EQ(Play("a"), ".");
  EXPECT_EQ(run.barcodeCount, 1);
  EXPECT_EQ(run.barcodeindex, 1);
  EXPECT_EQ(run.barcodedata(), nullptr);
  EXPECT_EQ(Play("BbE"), "." + Written("1") + "{b}");
  EXPECT_EQ(Play("c"), "");
  EXPECT_EQ(run.barcodedata(), nullptr);
}

TEST_F(RunTest, EndingARunTwiceWritesTheFileOnce) {
  EXPECT_EQ(Play("BaEE"), "." + Written("1") + "{a}1 barcodes synchronized|{a}");
  EXPECT_EQ(Play("BbBcEdE"), ".." + Written("1") + "{c}" + Written("2") + "{d}");
}

TEST_F(RunTest, WritesAFileForEachOfTwoOverlappingRuns) {
  EXPECT_EQ(Play("BabBcEdefE"), ".." + Written("1") + "{c}" + Written("4") + "{def}");
}

TEST_F(RunTest, ShowsTheCountEvenIfTheNextRunHasBegun) {
  files.whileReplacing = [this] { run.Begin(0); };
  EXPECT_EQ(Play("BabE"), "." + Written("2") + "{ab}");
  EXPECT_EQ(run.barcodeCount, 0);
  EXPECT_EQ(Play("cE"), "." + Written("1") + "{c}");
}

TEST_F(RunTest, ClearsTheRunStateBeforeWritingTheFile) {
  run.bIsUnderSynchronization = true;
  bool over = false;
  files.whileReplacing = [&] { over = !run.bIsUnderSynchronization && !run.IsShown(); };
  Play("BaE");
  EXPECT_TRUE(over);
}

TEST_F(RunTest, GeneratesAFileNameForThePlaceholder) {
  clock.Set({2026, 11, 16, 1, 4, 9});
  settings.filename.Set(folder / "stock/sn_timestamp.txt");
  Play("BaE");
  EXPECT_EQ(FileContents(folder / "stock123456_20261116_010409.txt"), "a");
}

TEST_F(RunTest, ChoosesAnotherNameIfTheGeneratedOneIsTaken) {
  clock.Set({2026, 11, 16, 1, 4, 9});
  settings.filename.Set(folder / "stock/sn_timestamp.txt");
  const std::string taken = folder / "stock123456_20261116_010409";
  std::filesystem::create_directory(taken + ".txt");
  EXPECT_NE(Play("BaE").find("|Synchronized to " + taken + "_"), std::string::npos) << shown;
  EXPECT_EQ(result.fileError, 0);
  EXPECT_EQ(result.file.size(), taken.size() + std::string("_123456.txt").size());
  EXPECT_EQ(FileContents(result.file), "a");
}

TEST_F(RunTest, ChoosesAnotherNameIfAPipeHasTheGeneratedName) {
  clock.Set({2026, 11, 16, 1, 4, 9});
  settings.filename.Set(folder / "stock/sn_timestamp.txt");
  settings.bAppendData = 1;
  const std::string taken = folder / "stock123456_20261116_010409.txt";
  ASSERT_EQ(mkfifo(taken.c_str(), 0666), 0);
  Play("BaE");
  EXPECT_EQ(result.fileError, 0);
  ASSERT_NE(result.file, taken);
  EXPECT_EQ(FileContents(result.file), "a");
}

TEST_F(RunTest, ReportsSuccessEvenIfTheWriteFails) {
  settings.filename.Set(folder / "absent/out.txt");
  EXPECT_EQ(Play("BaE"), ".|Synchronized to " + folder.path() +
                             "/absent/out.txt|1 barcodes synchronized|{no file}");
  EXPECT_TRUE(log.Has("Fail to write"));
}

TEST_F(RunTest, DoesNotWriteRecordsToTheSettingsFile) {
  const std::string path = folder / "QuilletRegistry.txt";
  test::PutFile(path, "settings");
  std::filesystem::create_symlink(path, folder / "link");
  std::filesystem::create_hard_link(path, folder / "hard");
  for (const char* leads : {"QuilletRegistry.txt", "link", "hard"}) {
    for (const bool append : {false, true}) {
      settings.bAppendData = append;
      settings.filename.Set(folder / leads);
      EXPECT_EQ(Play("BabE"), ".|Synchronized to " + folder.path() + "/" + leads +
                                  "|2 barcodes synchronized|{no file}");
      EXPECT_EQ(FileContents(path), "settings");
      EXPECT_EQ(FileContents(folder / leads), "settings");
      EXPECT_TRUE(result.refusedSettingsFile);
      EXPECT_EQ(result.recordsInFile, 0);
    }
  }
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  settings.bAppendData = 0;
  settings.filename.Set(folder / "stock.txt");
  EXPECT_EQ(Play("BcE"), "." + Written("1") + "{c}");
  EXPECT_FALSE(result.refusedSettingsFile);
}

TEST_F(RunTest, TruncatesRecordsToOneBytePerUtf16CodeUnit) {
  run.Begin(0);
  for (const char* record : {"\xC3\xA9\x31\r\n", "plain\r\n", "1\xE2\x82\xAC"})
    run.Add(record, 0, lines++);
  Play("E");
  // The last record is truncated in the middle of a character, which is replaced by U+FFFD.
  EXPECT_EQ(FileContents(folder / "stock.txt"), "\xC3\xA9\x31\rplain\r\n1\xEF\xBF\xBD");
}

}  // namespace
}  // namespace quillet
