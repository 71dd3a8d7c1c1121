#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <utility>

#include "output/RecordsFile.h"
#include "output/RunArchive.h"
#include "tests/support/FakeClock.h"
#include "tests/support/HookedFileStore.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet {
namespace {

using namespace std::string_literals;
using platform::GrowingFile;
using Problem = RunArchive::Problem;
using Texts = std::vector<std::string>;

// A file store with real files. Tests can make its operations fail.
class FaultyFiles final : public test::HookedFileStore {
 public:
  class File final : public GrowingFile {
   public:
    File(FaultyFiles& store, std::string path, std::shared_ptr<GrowingFile> file)
        : store_(store), path_(std::move(path)), file_(std::move(file)) {}
    bool Append(std::string_view bytes) override {
      if (store_.full || (!bytes.empty() && std::exchange(store_.failsOnce, false))) failed_ = true;
      return !failed_ && file_->Append(bytes);
    }
    bool Synchronize(std::chrono::milliseconds limit) override {
      store_.flushed.push_back(path_.substr(path_.rfind('/') + 1));
      if (const auto hook = std::exchange(store_.whileSynchronizing, nullptr)) hook();
      if (!store_.broken.empty() && path_.ends_with(store_.broken)) failed_ = true;
      return !failed_ && file_->Synchronize(limit);
    }

   private:
    FaultyFiles& store_;
    const std::string path_;
    const std::shared_ptr<GrowingFile> file_;
    bool failed_ = false;  // stays true after an error, as with a real file
  };

  std::shared_ptr<GrowingFile> OpenGrowing(const std::string& path, bool fresh) override {
    if (fresh && !refused.empty() && path.ends_with(refused)) return nullptr;
    auto file = HookedFileStore::OpenGrowing(path, fresh);
    return file ? std::make_shared<File>(*this, path, std::move(file)) : nullptr;
  }
  bool SynchronizeEntries(const std::string& path, std::chrono::milliseconds) override {
    flushed.push_back("folders of " + path);
    return broken != "folders";
  }

  bool full = false;       // true: appending fails
  bool failsOnce = false;  // true: the next append fails
  std::string broken;      // suffix of the files that cannot be flushed, or "folders"
  std::string refused;     // name suffix of the files that cannot be created
  Texts flushed;           // names of the flushed files
  std::function<void()> whileSynchronizing;  // called by the next flush only
};

class RunArchiveTest : public ::testing::Test {
 protected:
  RunArchiveTest() {
    clock_.Set({2026, 11, 16, 1, 4, 9});
    files_.Replace(output_, "");
    settings_.destination = 1;
    Put("W1234005771");
    archive_.OnProblem([this](Problem problem) { problems_.push_back(problem); });
  }

  void Put(const std::string& serial) {
    scanner_.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(serial.data()), serial.size());
  }

  static std::span<const std::uint8_t> Bytes(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
  }

  // Returns a stored record in the older layout.
  static std::string Stored(const std::string& data, char symbology = 6) {
    return std::string{static_cast<char>(data.size() + 5), symbology} + data + "\x31\x47\x41\x09";
  }

  void Begin(bool erasePending = false, std::int32_t records = 0) {
    archive_.Begin();
    archive_.DownloadStarted(records, erasePending);
  }

  // Passes a record and its line to the archive, as a download does.
  void Receive(const std::string& data) {
    archive_.KeepRecord(Bytes(Stored(data)));
    archive_.KeepLine(data + "\r\n");
  }

  // Returns the archived file names that end with `ending`.
  Texts Names(const std::string& ending) {
    Texts names;
    for (const auto& entry : files_.List(folder_)) {
      if (entry.name.ends_with(ending)) names.push_back(entry.name);
    }
    return names;
  }

  // Returns the data of all records in a file. Stores the scanner's serial number in `serial`.
  static Texts RecordsOf(const std::string& path, std::string* serial = nullptr) {
    Texts records;
    ReadRecordsFile(
        *test::FileContents(path), [&](const auto& scanner, const auto& /*settings*/, auto record) {
          records.emplace_back(reinterpret_cast<const char*>(record.data()) + 2, record.size() - 6);
          if (serial != nullptr) *serial = scanner.SerialNo.TextFrom(0);
        });
    return records;
  }
  static RecordsFileHead Summary(const std::string& path) {
    return ReadRecordsFile(*test::FileContents(path)).value();
  }

  const test::TemporaryFolder temporary_;
  const std::string folder_ = temporary_ / "state/runs";
  const std::string output_ = temporary_ / "out.txt";
  const std::string first_ = folder_ + "/20261116_010409_W123400577";
  test::FakeClock clock_;
  FaultyFiles files_;
  Settings settings_;
  ScannerIdentity scanner_;
  RunArchive archive_{clock_, files_, settings_, scanner_, folder_};
  std::vector<Problem> problems_;
};

TEST_F(RunArchiveTest, KeepsTheRecordsAndLinesOfARun) {
  Begin();
  Receive("4006381333931");
  Receive("\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(Names(".open"), Texts{"20261116_010409_W123400577.open"});
  archive_.End(true);
  EXPECT_EQ(test::FileContents(first_ + ".txt"), "4006381333931\r\n\xC3\xA9t\xC3\xA9\r\n");
  std::string serial;
  EXPECT_EQ(RecordsOf(first_ + ".records", &serial), (Texts{"4006381333931", "\xC3\xA9t\xC3\xA9"}));
  EXPECT_EQ(serial, "W123400577");
  EXPECT_EQ(Names(".open"), Texts{});
  const RecordsFileHead run = Summary(first_ + ".records");
  EXPECT_EQ(run.time, "2026-11-16 01:04:09");
  EXPECT_EQ(run.records, 2);
  EXPECT_TRUE(run.ended && run.complete && !run.erased);
}

TEST_F(RunArchiveTest, OnlyTheUserCanReadTheFiles) {
  Begin();
  Receive("1");
  using std::filesystem::perms;
  const auto mode = [](const std::string& path) {
    return std::filesystem::status(path).permissions();
  };
  EXPECT_EQ(mode(folder_), perms::owner_all);
  EXPECT_EQ(mode(temporary_ / "state"), perms::owner_all);
  for (const auto* ending : {".records", ".txt"}) {
    EXPECT_EQ(mode(first_ + ending), perms::owner_read | perms::owner_write);
  }
}

TEST_F(RunArchiveTest, FileNamesContainNoControlCharacters) {
  Put("21\n/\x7F\xFFX");
  Begin();
  Receive("1");
  EXPECT_EQ(Names(".records"), Texts{"20261116_010409_21%0A_%7F_X.records"});
  EXPECT_EQ(test::FileContents(folder_ + "/order"), "20261116_010409_21%0A_%7F_X\n");
}

TEST_F(RunArchiveTest, StoresABurstBeforeItsFirstLineIsComposed) {
  Begin();
  archive_.KeepBurst(Bytes(Stored("1") + Stored("gone", '\xFF') + Stored("2")));
  EXPECT_EQ(RecordsOf(first_ + ".records"), (Texts{"1", "2"}));
  archive_.KeepLine("1|");
  archive_.KeepLine("2|");
  archive_.BurstDelivered(true);
  EXPECT_EQ(test::FileContents(first_ + ".txt"), "1|2|");
}

TEST_F(RunArchiveTest, StoresLiveScansInDailyFiles) {
  Receive("live");
  Begin();
  Receive("1");
  archive_.End(true);
  clock_.Set({2026, 11, 16, 23, 59, 59});
  Receive("late");
  clock_.Set({2026, 11, 17, 0, 0, 0});
  Receive("next day");
  EXPECT_EQ(RecordsOf(folder_ + "/20261116_live.records"), (Texts{"live", "late"}));
  EXPECT_EQ(RecordsOf(folder_ + "/20261117_live.records"), Texts{"next day"});
  EXPECT_EQ(test::FileContents(folder_ + "/20261116_live.txt"), "live\r\nlate\r\n");
  EXPECT_FALSE(Summary(folder_ + "/20261116_live.records").ended);
}

TEST_F(RunArchiveTest, RunsBegunInTheSameSecondHaveDifferentFileNames) {
  for (const auto* data : {"1", "2", "3"}) {
    Begin();
    Receive(data);
    archive_.End(true);
  }
  EXPECT_EQ(RecordsOf(first_ + ".records"), Texts{"1"});
  EXPECT_EQ(RecordsOf(first_ + "_2.records"), Texts{"2"});
  EXPECT_EQ(RecordsOf(first_ + "_3.records"), Texts{"3"});
}

TEST_F(RunArchiveTest, SkipsANameIfEitherOfItsFilesExists) {
  files_.CreatePrivateFolder(folder_);
  test::PutFile(first_ + ".txt", "");
  test::PutFile(first_ + "_2.records", "");
  Begin();
  Receive("1");
  EXPECT_EQ(RecordsOf(first_ + "_3.records"), Texts{"1"});
}

TEST_F(RunArchiveTest, StoresScannerAndSettingsChanges) {
  Begin();
  Receive("1");
  Put("X987600001");
  settings_.destination = 3;
  settings_.appname.Set(" /opt/a%b\n");
  Receive("2");
  archive_.End(false);
  std::string serial;
  RecordsOf(first_ + ".records", &serial);
  EXPECT_EQ(serial, "X987600001");
  const RecordsFileHead run = Summary(first_ + ".records");
  EXPECT_EQ(run.destination, 3);
  EXPECT_EQ(run.target, " /opt/a%b\n");
  EXPECT_TRUE(run.ended && !run.complete);
  const std::string file = *test::FileContents(first_ + ".records");
  const std::size_t entry = file.find("\nsettings ") + 1;
  EXPECT_NE(file[file.find('\n', entry) - 1], '0') << "without trailing zeros";
}

TEST_F(RunArchiveTest, CreatesNoFilesForARunWithoutRecords) {
  Begin();
  EXPECT_TRUE(archive_.AwaitCopy());
  archive_.End(true);
  archive_.Erased();
  EXPECT_EQ(Names(""), Texts{});
}

TEST_F(RunArchiveTest, FlushesTheFilesBeforeAllowingTheErase) {
  Begin();
  Receive("1");
  archive_.End(true);
  EXPECT_EQ(files_.flushed, Texts{});
  EXPECT_TRUE(archive_.AwaitCopy());
  const std::string name = first_.substr(folder_.size() + 1);
  EXPECT_EQ(files_.flushed, (Texts{name + ".txt", name + ".records"}));
  archive_.Erased();
  EXPECT_TRUE(Summary(first_ + ".records").erased);
  EXPECT_EQ(problems_, std::vector<Problem>{});
}

TEST_F(RunArchiveTest, DoesNotPermitAPendingEraseAfterTheNextRunBegins) {
  Begin();
  Receive("1");
  files_.full = true;
  Receive("2");
  archive_.End(true);
  archive_.Begin();
  EXPECT_FALSE(archive_.AwaitCopy());
  archive_.DownloadStarted(0, false);
  EXPECT_TRUE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, RejectsAnEraseQueuedDuringAnEarlierRun) {
  Begin();
  files_.full = true;
  Receive("1");
  files_.full = false;
  archive_.End(true);
  Begin(true);
  EXPECT_FALSE(archive_.AwaitCopy()) << "the erase of the first run";
  Receive("2");
  archive_.End(true);
  EXPECT_FALSE(archive_.AwaitCopy()) << "the counts still contain the first run";
  Begin();
  Receive("3");
  EXPECT_TRUE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, FlushesARecordThatArrivesDuringTheFlush) {
  Begin();
  Receive("1");
  archive_.End(true);
  files_.whileSynchronizing = [this] { Receive("live"); };
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(files_.flushed.size(), 6U) << "the files of the run twice, those of the day once";
  Receive("live, too");
  files_.whileSynchronizing = [this] {
    files_.full = true;
    Receive("not written");
  };
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfABurstHasNoCompleteRecord) {
  Begin();
  archive_.KeepBurst(Bytes(std::string("\0\0\0", 3)));
  archive_.BurstDelivered(false);
  EXPECT_FALSE(archive_.AwaitCopy());
  EXPECT_EQ(problems_, std::vector{Problem::kCutOff});
}

TEST_F(RunArchiveTest, ClosesTheFilesOfEarlierRuns) {
  for (const auto* data : {"1", "2", "3"}) {
    Begin();
    Receive(data);
    archive_.End(true);
  }
  EXPECT_NE(files_.OpenGrowing(first_ + ".records", false), nullptr);
  EXPECT_EQ(files_.OpenGrowing(first_ + "_3.records", false), nullptr) << "the last run";
}

TEST_F(RunArchiveTest, AppendsToDailyFilesUnlessTheyAreDamaged) {
  const std::string day = folder_ + "/20261116_live";
  Receive("1");
  RunArchive second(clock_, files_, settings_, scanner_, folder_);
  second.KeepRecord(Bytes(Stored("another process")));
  EXPECT_EQ(RecordsOf(day + "_2.records"), Texts{"another process"});
  {
    RunArchive unused(clock_, files_, settings_, scanner_, temporary_ / "other");
    unused.KeepRecord(Bytes(Stored("1")));
  }
  RunArchive third(clock_, files_, settings_, scanner_, temporary_ / "other");
  third.KeepRecord(Bytes(Stored("2")));
  const std::string other = temporary_ / "other/20261116_live";
  EXPECT_EQ(RecordsOf(other + ".records"), (Texts{"1", "2"}));
}

TEST_F(RunArchiveTest, KeepsDailyFilesIfAppendingFails) {
  const std::string day = folder_ + "/20261116_live";
  RunArchive(clock_, files_, settings_, scanner_, folder_).KeepRecord(Bytes(Stored("1")));
  files_.full = true;
  Receive("2");
  EXPECT_EQ(RecordsOf(day + ".records"), Texts{"1"});
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfFlushingTheFilesFails) {
  Begin();
  Receive("1");
  files_.broken = ".records";
  EXPECT_FALSE(archive_.AwaitCopy());
  files_.broken = "";
  EXPECT_FALSE(archive_.AwaitCopy()) << "the system reports a lost write only once";
  EXPECT_EQ(problems_,
            (std::vector{Problem::kNotWritten, Problem::kEraseWithheld, Problem::kEraseWithheld}));
  archive_.End(true);
  Begin();
  Receive("2");
  EXPECT_TRUE(archive_.AwaitCopy()) << "a later run";
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfARecordWasNotWritten) {
  Begin();
  files_.full = true;
  Receive("1");
  files_.full = false;
  Receive("2");
  archive_.End(true);
  EXPECT_FALSE(archive_.AwaitCopy());
  EXPECT_EQ(problems_, (std::vector{Problem::kNotWritten, Problem::kEraseWithheld}));
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfFlushingTheLinesFails) {
  Begin();
  Receive("1");
  files_.broken = ".txt";
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, PermitsErasingIfOnlyTheOutputFileIsComplete) {
  settings_.destination = 0;
  Receive("before the download");
  Begin();
  files_.full = true;
  Receive("1");
  Receive("2");
  archive_.End(true);
  for (const LineRange lines : {LineRange{1, 2}, LineRange{2, 3}, LineRange{}}) {
    archive_.OutputFileWritten(folder_, lines);
    EXPECT_FALSE(archive_.AwaitCopy()) << lines.first;
  }
  for (const std::int64_t first : {0, 1}) {
    archive_.OutputFileWritten(output_, {first, 3});
    EXPECT_TRUE(archive_.AwaitCopy()) << first;
  }
  archive_.OutputFileWritten(output_, {});
  EXPECT_FALSE(archive_.AwaitCopy()) << "the file was replaced";
}

TEST_F(RunArchiveTest, FlushesTheParentFoldersOfTheOutputFile) {
  Begin();
  files_.full = true;
  Receive("1");
  archive_.OutputFileWritten(output_, {0, 1});
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(files_.flushed, Texts{"folders of " + output_});
  files_.broken = "folders";
  EXPECT_FALSE(archive_.AwaitCopy());
  files_.broken.clear();
  files_.Remove(output_);
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, IncompleteOutputFileDoesNotPermitErasing) {
  std::int64_t lines = 0;
  const auto permits = [&](const std::function<void()>& receive) {
    files_.full = false;
    Begin();
    files_.full = true;
    Receive("1");
    receive();
    const std::int64_t first = lines;
    lines = archive_.KeepLine("") + 1;
    archive_.OutputFileWritten(output_, {first, lines});
    archive_.End(true);
    return archive_.AwaitCopy().has_value();
  };
  EXPECT_TRUE(permits([&] { Receive("2"); }));
  EXPECT_FALSE(permits([&] { Receive("\xC3\xA9"); })) << "cut by Run";
  EXPECT_FALSE(permits([&] { archive_.KeepLine(std::string(10'239, 'x')); })) << "cut";
  EXPECT_FALSE(permits([&] { archive_.KeepRecord(Bytes(Stored("late") + "x")); })) << "length";
  EXPECT_FALSE(permits([&] {
    archive_.KeepRecord(Bytes(Stored("not delivered")));
    Receive("2");
  }));
  settings_.dataorder = 6;
  EXPECT_FALSE(permits([&] { Receive("2"); })) << "lines without data";
}

TEST_F(RunArchiveTest, DoesNotEraseIfTheOutputFileLacksTheLastRecord) {
  Begin();
  files_.full = true;
  Receive("1");
  archive_.OutputFileWritten(output_, {0, 1});
  archive_.KeepRecord(Bytes(Stored("a live scan")));
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, WaitsUntilTheOutputFileOfTheRunIsWritten) {
  settings_.destination = 0;
  Begin();
  files_.full = true;
  Receive("1");
  clock_.OnSleep([this] {
    if (clock_.sleeps().size() == 3) archive_.OutputFileWritten(output_, {0, 1});
  });
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(clock_.sleeps().size(), 3U);
}

TEST_F(RunArchiveTest, WaitsAtMost30SecondsForTheOutputFile) {
  settings_.destination = 0;
  Begin();
  files_.full = true;
  Receive("1");
  const auto before = clock_.Now();
  EXPECT_FALSE(archive_.AwaitCopy());
  EXPECT_EQ(clock_.Now() - before, std::chrono::seconds(30));
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfRecordsAreIncomplete) {
  Begin();
  archive_.KeepBurst(Bytes(Stored("1") + "\x20\x06"));
  archive_.KeepLine("1");
  archive_.BurstDelivered(false);
  EXPECT_FALSE(archive_.AwaitCopy());
  EXPECT_EQ(problems_, std::vector{Problem::kCutOff});
  archive_.End(true);
  EXPECT_FALSE(Summary(first_ + ".records").complete);
}

TEST_F(RunArchiveTest, StartsNewFilesAfterAnInterruptedRun) {
  Begin();
  Receive("1");
  archive_.ConnectionEnded();
  Receive("still the first run");
  Begin();
  Receive("2");
  archive_.End(true);
  EXPECT_EQ(RecordsOf(first_ + ".records"), (Texts{"1", "still the first run"}));
  EXPECT_TRUE(Summary(first_ + ".records").ended);
  EXPECT_FALSE(Summary(first_ + ".records").complete);
  EXPECT_EQ(Names(".open"), Texts{});
  EXPECT_EQ(RecordsOf(first_ + "_2.records"), Texts{"2"});
  EXPECT_TRUE(Summary(first_ + "_2.records").complete);
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(files_.flushed.size(), 2U) << "the files of the second run";
}

TEST_F(RunArchiveTest, CreatesFilesWhenTheScannerReportsRecords) {
  Begin(false, 0);
  archive_.End(true);
  EXPECT_EQ(Names(""), Texts{});
  Begin(false, 2);
  EXPECT_EQ(Names(".open").size(), 1U);
  EXPECT_EQ(Summary(first_ + ".records").serial, "W123400577");
  EXPECT_EQ(Summary(first_ + ".records").records, 0);
  Receive("1");
  EXPECT_EQ(Names(".records").size(), 1U);
  archive_.End(false);
  EXPECT_FALSE(Summary(first_ + ".records").complete);
  files_.refused = ".records";
  Begin(false, 2);
  EXPECT_EQ(problems_, std::vector<Problem>{}) << "no record has been lost yet";
  files_.refused.clear();
  Receive("2");
  EXPECT_EQ(RecordsOf(first_ + "_2.records"), Texts{"2"});
  EXPECT_TRUE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, EmptyRunDoesNotMarkAnInterruptedRunAsComplete) {
  Begin();
  Receive("1");
  archive_.ConnectionEnded();
  Begin();
  archive_.End(true);
  EXPECT_FALSE(Summary(first_ + ".records").complete);
}

TEST_F(RunArchiveTest, ErrorInAnInterruptedRunDoesNotAffectTheNextRun) {
  Begin();
  files_.full = true;
  Receive("1");
  files_.full = false;
  archive_.ConnectionEnded();
  Begin();
  Receive("1");
  archive_.End(true);
  EXPECT_TRUE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, StoresARecordInNewFilesAfterAnError) {
  Begin();
  Receive("1");
  files_.failsOnce = true;
  Receive("2");
  Receive("3");
  archive_.End(true);
  EXPECT_EQ(RecordsOf(first_ + ".records"), Texts{"1"});
  EXPECT_EQ(RecordsOf(first_ + "_part02.records"), (Texts{"2", "3"}));
  EXPECT_EQ(test::FileContents(first_ + "_part02.txt"), "2\r\n3\r\n");
  EXPECT_FALSE(archive_.failed());
  EXPECT_FALSE(archive_.AwaitCopy()) << "the first file may be damaged";
}

TEST_F(RunArchiveTest, StartsNewDailyFilesAfterAnError) {
  const std::string day = folder_ + "/20261116_live";
  Receive("1");
  files_.full = true;
  Receive("not written");
  files_.full = false;
  Receive("2");
  EXPECT_EQ(RecordsOf(day + "_2.records"), Texts{"2"});
  Begin();
  Receive("3");
  archive_.End(true);
  Receive("after the run");
  files_.broken = "live_2.records";
  EXPECT_FALSE(archive_.AwaitCopy());
  Begin();
  Receive("4");
  EXPECT_TRUE(archive_.AwaitCopy()) << "needs none of the live scans";
  archive_.End(true);
  Receive("5");
  EXPECT_EQ(RecordsOf(day + "_3.records"), Texts{"5"});
  EXPECT_TRUE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfALaterScanIsDeleted) {
  Begin();
  Receive("1");
  archive_.End(true);
  Receive("live");
  EXPECT_TRUE(archive_.Delete("20261116_live"));
  EXPECT_EQ(Names("live.records"), Texts{});
  EXPECT_FALSE(archive_.AwaitCopy());
  Receive("later");
  EXPECT_EQ(RecordsOf(folder_ + "/20261116_live.records"), Texts{"later"});
}

TEST_F(RunArchiveTest, PermitsErasingOnceEarlierScansAreFlushed) {
  archive_.Begin();
  Receive("before the number of records");
  archive_.DownloadStarted(0, false);
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(files_.flushed.size(), 2U);
  archive_.End(true);
  archive_.Begin();
  files_.full = true;
  Receive("not written");
  archive_.DownloadStarted(0, false);
  EXPECT_TRUE(archive_.failed());
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, PermitsASecondEraseOfTheSameRecords) {
  Begin();
  Receive("1");
  archive_.End(true);
  EXPECT_TRUE(archive_.AwaitCopy());
  files_.full = true;
  archive_.Erased();
  files_.broken = ".records";
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(problems_, std::vector<Problem>{});
}

TEST_F(RunArchiveTest, MarksARunAsErasedEvenAfterTheNextRunBegins) {
  Begin();
  Receive("1");
  archive_.End(true);
  EXPECT_TRUE(archive_.AwaitCopy());
  archive_.Begin();
  archive_.Erased();
  EXPECT_TRUE(Summary(first_ + ".records").erased);
}

TEST_F(RunArchiveTest, EmptyRunDoesNotMarkAnEarlierRunAsErased) {
  Begin();
  Receive("1");
  archive_.End(true);
  Begin();
  archive_.End(true);
  EXPECT_TRUE(archive_.AwaitCopy());
  archive_.Erased();
  EXPECT_FALSE(Summary(first_ + ".records").erased);
}

TEST_F(RunArchiveTest, RunIsIncompleteIfTheConnectionEndsBeforeABurst) {
  Begin();
  archive_.ConnectionEnded();
  archive_.KeepBurst(Bytes(Stored("1")));
  archive_.KeepLine("1\r\n");
  archive_.BurstDelivered(true);
  archive_.End(true);
  EXPECT_FALSE(Summary(first_ + ".records").complete);
}

TEST_F(RunArchiveTest, ReportsAWriteErrorAfterARunIsDeleted) {
  Begin();
  Receive("1");
  archive_.End(true);
  EXPECT_TRUE(archive_.Delete(first_.substr(folder_.size() + 1)));
  EXPECT_FALSE(archive_.failed());
  files_.full = true;
  Receive("not written");
  EXPECT_EQ(problems_, std::vector{Problem::kNotWritten});
}

TEST_F(RunArchiveTest, DeletingEarlierLiveScansDoesNotPreventErasing) {
  Receive("live");
  Begin();
  Receive("1");
  EXPECT_TRUE(archive_.Delete("20261116_live"));
  archive_.End(true);
  EXPECT_TRUE(Summary(first_ + ".records").complete);
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(problems_, std::vector<Problem>{});
}

TEST_F(RunArchiveTest, DoesNotPermitErasingIfTheArchiveFileWasRemoved) {
  Begin();
  Receive("1");
  archive_.End(true);
  ASSERT_TRUE(files_.Remove(first_ + ".records"));
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, FailureToArchiveAScanDoesNotAffectTheNext) {
  files_.full = true;
  Receive("not written");
  EXPECT_TRUE(archive_.failed());
  files_.full = false;
  Receive("2");
  EXPECT_FALSE(archive_.failed());
}

TEST_F(RunArchiveTest, LaterScansDoNotClearTheFailureOfARun) {
  Begin();
  files_.full = true;
  Receive("not written");
  archive_.End(true);
  files_.full = false;
  Receive("live");
  EXPECT_TRUE(archive_.failed());
}

TEST_F(RunArchiveTest, PermitsErasingIfOnlyEarlierScansWereRemoved) {
  Receive("live");
  Begin();
  Receive("1");
  ASSERT_TRUE(files_.Remove(folder_ + "/20261116_live.records"));
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(problems_, std::vector<Problem>{});
}

TEST_F(RunArchiveTest, OverlappingRunFlushesTheFilesOfTheFirst) {
  Begin();
  Receive("1");
  archive_.Begin();
  archive_.End(true);
  archive_.DownloadStarted(0, false);
  files_.broken = ".records";
  EXPECT_FALSE(archive_.AwaitCopy());
}

TEST_F(RunArchiveTest, LateEndOfAnInterruptedRunDoesNotEndTheNextRun) {
  Begin();
  Receive("1");
  archive_.ConnectionEnded();
  archive_.Begin();
  archive_.End(false);  // the end of the interrupted run
  archive_.DownloadStarted(0, false);
  Receive("2");
  EXPECT_EQ(RecordsOf(first_ + "_2.records"), Texts{"2"});
}

TEST_F(RunArchiveTest, ClosesTheOldestLiveScanFiles) {
  for (int day = 1; day <= 20; ++day) {
    clock_.Set({2026, 11, day, 1, 4, 9});
    Receive("live");
  }
  EXPECT_NE(files_.OpenGrowing(folder_ + "/20261101_live.records", false), nullptr);
  EXPECT_EQ(files_.OpenGrowing(folder_ + "/20261119_live.records", false), nullptr) << "in use";
}

TEST_F(RunArchiveTest, IdentifiesAnInterruptedRunByItsFirstFile) {
  {
    RunArchive archive(clock_, files_, settings_, scanner_, folder_);
    archive.Begin();
    archive.KeepRecord(Bytes(Stored("1")));
    files_.failsOnce = true;
    archive.KeepRecord(Bytes(Stored("2")));
  }
  EXPECT_EQ(Names(".open"), Texts{first_.substr(folder_.size() + 1) + "_part02.open"});
  EXPECT_EQ(archive_.TakeInterruptedRuns(), Texts{first_.substr(folder_.size() + 1)});
}

TEST_F(RunArchiveTest, LeavesNoFilesIfOneCannotBeCreated) {
  for (const auto* refused : {".records", ".txt"}) {
    files_.refused = refused;
    Begin();
    Receive("1");
    archive_.End(true);
    Receive("live");
    EXPECT_EQ(Names(""), Texts{});
    EXPECT_FALSE(archive_.AwaitCopy());
  }
}

TEST_F(RunArchiveTest, OverlappingRunsUseTheSameFilesUntilOneEnds) {
  Begin();
  Receive("1");
  Begin();
  Receive("2");
  archive_.End(true);
  Receive("3");
  archive_.End(true);
  EXPECT_EQ(RecordsOf(first_ + ".records"), (Texts{"1", "2"}));
  EXPECT_EQ(RecordsOf(first_ + "_2.records"), Texts{"3"});
}

TEST_F(RunArchiveTest, FindsARunInterruptedInAnEarlierProcess) {
  {
    RunArchive earlier(clock_, files_, settings_, scanner_, folder_);
    earlier.Begin();
    earlier.KeepRecord(Bytes(Stored("1")));
    earlier.KeepLine("1");
    EXPECT_EQ(archive_.TakeInterruptedRuns(), Texts{}) << "the run is in progress";
    std::filesystem::remove(first_ + ".open");
    EXPECT_FALSE(archive_.Delete("20261116_010409_W123400577")) << "the files are in use";
    test::PutFile(first_ + ".open", "");
  }
  test::PutFile(first_ + ".records", *test::FileContents(first_ + ".records") + "record 9\ncut");
  EXPECT_EQ(archive_.TakeInterruptedRuns(), Texts{"20261116_010409_W123400577"});
  EXPECT_EQ(archive_.TakeInterruptedRuns(), Texts{});
  EXPECT_EQ(RecordsOf(first_ + ".records"), Texts{"1"});
  EXPECT_FALSE(Summary(first_ + ".records").complete);
}

TEST_F(RunArchiveTest, KeepsOnlyTheNewestHundredRuns) {
  for (int i = 0; i < 103; ++i) {
    Begin();
    Receive(std::to_string(i));
    archive_.End(true);
    clock_.Set({2026, 11, 16, 1, 5 + i / 60, i % 60});
  }
  EXPECT_EQ(Names(".records").size(), 100U);
  EXPECT_EQ(Names(".txt").size(), 100U);
  EXPECT_FALSE(Names(".records").front().starts_with("20261116_010409"));
}

TEST_F(RunArchiveTest, KeepsTheNewestRunsIfTheClockIsSetBack) {
  for (int i = 0; i < 100; ++i) {
    clock_.Set({2026, 11, 16, 1, i / 60, i % 60});
    Begin();
    Receive("1");
    archive_.End(true);
  }
  clock_.Set({2000, 1, 1, 0, 0, 0});
  for (int i = 0; i < 3; ++i) {
    Begin();
    Receive("1");
    archive_.End(true);
  }
  EXPECT_EQ(Names(".records").size(), 100U);
  EXPECT_EQ(Names("W123400577_3.records").size(), 1U);
  EXPECT_EQ(Names(".records")[3], "20261116_010003_W123400577.records");
}

TEST_F(RunArchiveTest, RunLimitCountsEachRunOnceAndIgnoresDailyFiles) {
  std::filesystem::create_directories(folder_);
  const auto put = [this](const std::string& name) {
    for (const auto* ending : {".records", ".txt"})
      test::PutFile(folder_ + "/" + name + ending, "");
  };
  for (const auto* name : {"20240101_live", "20240101_live_2", "20250101_000000_A",
                           "20250101_000000_A_part02", "20250101_000000_A_part03"}) {
    put(name);
  }
  for (int i = 100; i < 198; ++i) put("20250101_000" + std::to_string(i) + "_B");
  for (const std::size_t left : {104U, 102U}) {
    Begin();
    Receive("1");
    archive_.End(true);
    EXPECT_EQ(Names(".records").size(), left);
    EXPECT_EQ(Names(".txt").size(), left);
  }
  EXPECT_EQ(Names("_A_part02.records"), Texts{});
}

TEST_F(RunArchiveTest, DeletesTheOldestRunsOfALargeArchive) {
  std::filesystem::create_directories(folder_);
  for (const auto* name : {"/20250101_000000_A", "/20250102_000000_B"}) {
    test::PutFile(folder_ + name + ".records", kArchiveHeader);
    std::filesystem::resize_file(folder_ + name + ".records", 100'000'000);
  }
  Begin();
  Receive("1");
  archive_.End(true);
  EXPECT_EQ(Names(".records"),
            (Texts{"20250102_000000_B.records", "20261116_010409_W123400577.records"}));
}

TEST_F(RunArchiveTest, StartsANewFileAfter20Megabytes) {
  const std::string burst = Stored(std::string(200, 'x')) + std::string(3'999'000, '\0');
  Begin();
  for (int i = 0; i < 6; ++i) {
    archive_.KeepBurst(Bytes(burst));
    archive_.BurstDelivered(true);
  }
  Receive("after");
  EXPECT_EQ(RecordsOf(first_ + "_part02.records").back(), "after");
  EXPECT_TRUE(archive_.AwaitCopy());
  EXPECT_EQ(files_.flushed.size(), 4U);
}

TEST(RecordsFileTest, IgnoresIncompleteEntriesAndRejectsOtherFormats) {
  EXPECT_FALSE(ReadRecordsFile(""));
  EXPECT_FALSE(ReadRecordsFile("another file\n"));
  EXPECT_EQ(ReadRecordsFile("quillet-archive 1\nrecord 3\nabc\nrecord 3\nab")->records, 1);
  EXPECT_EQ(ReadRecordsFile("quillet-archive 1\nrecord 99999999999999999999\nab\n")->records, 0);
  EXPECT_FALSE(ReadRecordsFile("quillet-archive 1\nend complete")->ended);
}

TEST(RecordsFileTest, DoesNotParseRecordDataAsEntries) {
  const auto run = ReadRecordsFile("quillet-archive 1\nrecord 11\nerased now\n\nrecord 1\na\n");
  EXPECT_FALSE(run->erased);
  EXPECT_EQ(run->records, 2);
}

TEST(RecordsFileTest, EscapesAndUnescapesText) {
  for (const std::string& text :
       {"plain"s, ""s, " "s, " a b "s, "100%"s, "a\r\n\0\x7F"s, "\xC3\xA9"s}) {
    EXPECT_EQ(UnescapedText(EscapedText(text)), text);
    EXPECT_EQ(EscapedText(text).find('\n'), std::string::npos);
  }
  EXPECT_EQ(EscapedText(" a b "), "%20a b%20");
  EXPECT_EQ(UnescapedText("%4x%"), "%4x%");
}

TEST_F(RunArchiveTest, WritesTheLinesOfAnUnfinishedBurst) {
  Begin();
  archive_.KeepBurst(Bytes(Stored("1") + Stored("2") + Stored("3")));
  archive_.KeepLine("1\r\n");
  const std::string path = folder_ + "/" + Names(".txt").at(0);
  EXPECT_EQ(test::FileContents(path), "");
  clock_.OnSleep([this] { archive_.KeepLine("2\r\n"); });
  archive_.WriteLines();
  EXPECT_EQ(test::FileContents(path), "1\r\n2\r\n");
  EXPECT_EQ(clock_.sleeps().size(), 1U);
  clock_.OnSleep(nullptr);
  archive_.KeepLine("3\r\n");
  EXPECT_EQ(test::FileContents(path), "1\r\n2\r\n3\r\n");
}

}  // namespace
}  // namespace quillet
