#include <atomic>
#include <filesystem>

#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using test::FileContents;
using test::PutFile;
using test::Scanner;
using test::WaitFor;

class SynchronizationTest : public test::AppFixture {
 protected:
  void ConnectWith(const test::Choice& choice, const std::vector<std::string>& records) {
    StartWith(choice);
    LaunchConnected(Scanner(records));
  }

  void StartRunAndHoldItsBurst() {
    ConnectWith({.destination = 1}, {"1"});
    tavo.Hold("P");
    synchronize.Press();
    tavo.WaitUntilHeld();
  }

  void ChooseTypingDuringAnAutomaticRun() {
    StartWith({.destination = 1, .autosync = true});
    Attach("usbmodem1", Scanner({"1"}));
    tavo.Hold("P");
    Launch();
    tavo.WaitUntilHeld();
    Choose(kToActiveApplication);
  }

  /// Returns the archived lines of each run and of the live scans.
  std::vector<std::string> ArchivedLines() {
    std::vector<std::string> lines;
    for (const auto& entry : files.List(archiveFolder)) {
      if (entry.name.ends_with(".txt")) {
        lines.push_back(FileContents(archiveFolder + "/" + entry.name).value());
      }
    }
    return lines;
  }

  const std::string closing_ = "Synchronization finished. Tavo can be plugged off now|";
};

TEST_F(SynchronizationTest, ShowsDotsThenPathAndCountIfRecordsGoToAFile) {
  std::vector<std::string> records;
  std::string lines;
  for (int i = 0; i < 130; ++i) lines += records.emplace_back(std::to_string(i)) + "\r\n";
  ConnectWith({}, records);
  clock.Set({2026, 11, 16, 1, 4, 9});
  Synchronize();
  const std::string path = dataFolder + "123456_20261116_010409.txt";
  EXPECT_EQ(View(), "|Synchronization has started...|...|Synchronized to " + path +
                        "|130 barcodes synchronized|" + closing_);
  EXPECT_EQ(FileContents(path), lines);
  EXPECT_EQ(controller.syncfileName.Get(), path);
  EXPECT_EQ(controller.barcodeindex, 130);
}

TEST_F(SynchronizationTest, SaysWhereRecordsAreIfTheOutputFileIsRefused) {
  const std::string path = dataFolder + "/QuilletRegistry.txt";
  ConnectWith({.path = path}, {"1"});
  const auto settingsFile = FileContents(path);
  const std::string refused(SettingsEditor::kSettingsFileMessage);
  Synchronize();
  EXPECT_EQ(View(), "|Synchronization has started...|.|Synchronized to " + path +
                        "|1 barcodes synchronized|" + closing_);
  ticker.Tick();
  EXPECT_EQ(strip.Message(), refused + " 1 record is in the archive.");
  EXPECT_EQ(FileContents(path), settingsFile);

  std::filesystem::remove_all(archiveFolder);
  test::PutFile(archiveFolder, "not a folder");
  Synchronize();
  mainQueue.RunAll();
  ticker.Tick();
  EXPECT_EQ(strip.Message(), refused + " The records were not saved. Synchronize again.");
  EXPECT_EQ(FileContents(path), settingsFile);
}

TEST_F(SynchronizationTest, ClearHidesTheMessageAboutRemovedRecords) {
  const std::string latest = "The window shows only the latest records.";
  ConnectWith({.destination = 1}, {"1"});
  Synchronize();
  view.RemoveRecords();
  mainQueue.RunAll();
  EXPECT_EQ(strip.Message(), latest + " All records are in the archive.");
  ASSERT_EQ(strip.Buttons(), std::vector<std::string>{"Show"});
  EXPECT_FALSE(runs.runsWindow().IsShown());
  strip.Press(0);
  EXPECT_TRUE(runs.runsWindow().IsShown());
  clear.Press();
  mainQueue.RunAll();
  EXPECT_FALSE(strip.Message().starts_with(latest)) << strip.Message();
}

TEST_F(SynchronizationTest, AutomaticRunRemovesMessagesOfEarlierRuns) {
  ConnectWith({.destination = 1, .clearmemory = true, .autosync = true}, {"1"});
  AwaitEnd(0);
  AwaitErase();
  mainQueue.RunAll();
  EXPECT_EQ(strip.text(), "With the current settings, the records are saved only in the archive.");
  strip.Press(0);
  mainQueue.RunAll();
  EXPECT_TRUE(strip.text().ends_with(", shown above")) << strip.text();
  const std::string latest =
      "The window shows only the latest records. All records are in the archive.";
  for (std::size_t ends = 1; ends <= 2; ++ends) {
    view.RemoveRecords();
    mainQueue.RunAll();
    EXPECT_EQ(log.Count("Quillet: " + latest), ends);
    connect.Press();
    connect.Press();
    FinishConnecting();
    AwaitEnd(ends);
    mainQueue.RunAll();
    ticker.Tick();
    EXPECT_EQ(strip.text(), "The scanner sent no records.");
  }
}

TEST_F(SynchronizationTest, SecondAutomaticRunHidesInterruptionMessage) {
  std::filesystem::create_directory(archiveFolder);
  PutFile(archiveFolder + "/20261115_120000_123456.records", "");
  PutFile(archiveFolder + "/20261115_120000_123456.open", "");
  ConnectWith({.destination = 1, .autosync = true}, {"1"});
  AwaitEnd(0);
  mainQueue.RunAll();
  ticker.Tick();
  EXPECT_TRUE(strip.text().starts_with("A synchronization was interrupted.")) << strip.text();
  connect.Press();
  connect.Press();
  FinishConnecting();
  AwaitEnd(1);
  mainQueue.RunAll();
  ticker.Tick();
  EXPECT_EQ(strip.text(), "1 record in 1 s, shown above");
}

TEST_F(SynchronizationTest, DelaysThePermissionRequestUntilTheRunEnds) {
  ChooseTypingDuringAnAutomaticRun();
  EXPECT_EQ(keyEvents.prepared, 0);
  tavo.Release();
  AwaitEnd(0);
  EXPECT_TRUE(WaitFor([&] { return keyEvents.prepared != 0; }));
  Choose(kToActiveApplication);
  EXPECT_EQ(keyEvents.prepared, 2);
}

TEST_F(SynchronizationTest, DelaysThePermissionRequestUntilDisconnecting) {
  ChooseTypingDuringAnAutomaticRun();
  EXPECT_EQ(keyEvents.prepared, 0);
  connect.Press();
  EXPECT_EQ(keyEvents.prepared, 1);
}

TEST_F(SynchronizationTest, ErasesNothingIfThereAreNoRecords) {
  ConnectWith({.path = folder / "stock.txt", .clearmemory = true}, {});
  Synchronize();
  EXPECT_EQ(View(), "|Synchronization has started...|No data to synchronize...|" + closing_);
  EXPECT_FALSE(FileContents(folder / "stock.txt"));
  EXPECT_EQ(tavo.Commands(), "W M V w1# W N GS1 GS0 ");
}

TEST_F(SynchronizationTest, ErasesScannerMemoryAfterShowingTheCount) {
  ConnectWith({.destination = 1, .clearmemory = true}, {"one", "two"});
  Synchronize();
  EXPECT_EQ(View(),
            "|Synchronization has started...|one|two|2 barcodes synchronized|"
            "Erased Tavo memory...|" +
                closing_);
  EXPECT_TRUE(WaitFor([&] { return tavo.Commands().ends_with("P W GS0 E "); }));
}

TEST_F(SynchronizationTest, KeepsAllRecordsInTheArchive) {
  ConnectWith({.destination = 1}, {"one", "two"});
  Synchronize();
  tavo.Scan("live");
  ASSERT_EQ(ArchivedLines().size(), 2U);
  EXPECT_EQ(ArchivedLines()[0], "one\r\ntwo\r\n");
  EXPECT_EQ(ArchivedLines()[1], "live\r\n");
}

TEST_F(SynchronizationTest, DoesNotEraseRecordsThatWereNotSaved) {
  PutFile(archiveFolder, "a file where the folder should be");
  ConnectWith({.destination = 1, .clearmemory = true}, {"one"});
  Synchronize();
  EXPECT_TRUE(View().ends_with("one|1 barcodes synchronized|Erased Tavo memory...|" + closing_));
  EXPECT_TRUE(WaitFor([&] {
    mainQueue.RunAll();
    ticker.Tick();
    return strip.Message() ==
           "The scanner was not erased because 1 record was not saved. Check the disk.";
  }));
  EXPECT_EQ(strip.Buttons(), std::vector<std::string>{}) << "no run to show";
  EXPECT_EQ(tavo.Commands().find('E'), std::string::npos);
}

TEST_F(SynchronizationTest, ErasesIfOnlyTheOutputFileWasWritten) {
  PutFile(archiveFolder, "a file where the folder should be");
  ConnectWith({.path = folder / "stock.txt", .clearmemory = true, .burstsync = false}, {"one"});
  Synchronize();
  EXPECT_TRUE(WaitFor([&] { return tavo.Commands().ends_with("p0# GS0 E E "); }));
  EXPECT_EQ(FileContents(folder / "stock.txt"), "one\r\n");
}

TEST_F(SynchronizationTest, DoesNotEraseIfTheOnlyCopyIsIncomplete) {
  PutFile(archiveFolder, "a file where the folder should be");
  ConnectWith({.path = folder / "stock.txt", .clearmemory = true}, {"\xC3\xA9t\xC3\xA9"});
  Synchronize();
  EXPECT_TRUE(WaitFor([&] {
    return log.Has("-[Lumet EraseTavoMemory]: withheld, the records are not on the disk");
  }));
  EXPECT_EQ(tavo.Commands().find('E'), std::string::npos);
}

TEST_F(SynchronizationTest, ErasesIfOnlyTheArchiveWasWritten) {
  ConnectWith({.path = folder / "missing/stock.txt", .clearmemory = true}, {"one"});
  Synchronize();
  EXPECT_TRUE(WaitFor([&] { return tavo.Commands().ends_with("P W GS0 E "); }));
  EXPECT_EQ(ArchivedLines(), std::vector<std::string>{"one\r\n"});
}

TEST_F(SynchronizationTest, ReportsAnInterruptedRunOnceAfterTheNextStart) {
  std::filesystem::create_directories(archiveFolder);
  for (const auto* ending : {".open", ".records"}) PutFile(archiveFolder + "/run" + ending, "");
  Launch();
  mainQueue.RunAll();
  EXPECT_EQ(strip.Message(),
            "A synchronization was interrupted. Check its records in the archive.");
  EXPECT_FALSE(std::filesystem::exists(archiveFolder + "/run.open"));
}

TEST_F(SynchronizationTest, DeliversEachRecordToTheCurrentDestination) {
  ConnectWith({.destination = 1}, {});
  tavo.Scan("seen");
  EXPECT_EQ(View(), "seen|");
  Choose(0, folder / "stock.txt");
  tavo.Scan("dropped outside a run");
  EXPECT_EQ(View(), "seen|.");
  Choose(2);
  tavo.Scan("7");
  EXPECT_EQ(keyEvents.posts().size(), 1U);
  EXPECT_EQ(View(), "seen|.");
  EXPECT_EQ(controller.barcodeCount, 3);
  EXPECT_EQ(controller.barcodedata(), nullptr);
}

/// Tests of the messages about the result of a run.
class ResultTest : public SynchronizationTest {
 protected:
  /// Handles all pending changes, then returns the displayed message.
  std::string Message() {
    mainQueue.RunAll();
    ticker.Tick();
    return strip.text();
  }

  /// Returns the entries of the latest run in the archive.
  std::string Entries() {
    std::string name;
    for (const auto& entry : files.List(archiveFolder)) {
      if (entry.name.ends_with(".records")) name = std::max(name, entry.name);
    }
    return FileContents(archiveFolder + "/" + name).value_or("");
  }

  void Unplug() {
    registry.Unplug(folder / "usbmodem1");
    ASSERT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  }

  /// Starts a burst run, interrupts the burst by unplugging the scanner, and plugs the scanner in
  /// again.
  void CutBurst(const test::Choice& choice) {
    ConnectWith(choice, {"1", "2", "3"});
    tavo.Hold("P");
    synchronize.Press();
    tavo.WaitUntilHeld();
    tavo.Release(8);
    tavo.WaitUntilRead();
    Unplug();
    tavo.Attach(folder / "usbmodem1", Scanner({"1", "2", "3"}));
    registry.Plug("usbmodem1", folder / "usbmodem1");
    ASSERT_TRUE(WaitFor([&] { return clock.Count(std::chrono::seconds(1)) == 2; }));
  }

  /// Starts the program with an automatic run, and delays the scanner's answer to `command`.
  void StartAutomaticRun(test::Choice choice, const std::string& command) {
    choice.autosync = true;
    StartWith(choice);
    tavo.Hold(command);
    LaunchConnected(Scanner({"1", "2", "3"}));
    tavo.WaitUntilHeld();
  }

  const std::string again_ = "The scanner was not erased. Synchronize again.";
};

TEST_F(ResultTest, SaysThatTheScannerWithAMissingRecordWasNotErased) {
  PutFile(archiveFolder, "a file where the folder should be");
  ConnectWith({.destination = 1, .clearmemory = true, .burstsync = false}, {"1", "2", "3"});
  tavo.Answer("p1#", {});
  Synchronize();
  const std::string missing = "Quillet: 1 of 3 records was not received. ";
  EXPECT_TRUE(WaitFor([&] {
    mainQueue.RunAll();
    return log.Has(missing + again_);
  }));
}

TEST_F(ResultTest, LiveScanDoesNotReplaceAMissingRecord) {
  ConnectWith({.destination = 1, .burstsync = false}, {"1", "2", "3"});
  tavo.Answer("p1#", {});
  auto& scanned = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&tavo = tavo, &connected = controller.bIsConnected, &scanned] {
    tavo.Settle(connected);
    // No command is waiting for an answer now.
    if (tavo.Commands().ends_with(" p0# ") && !scanned.exchange(true)) tavo.Scan("live");
  });
  Synchronize();
  EXPECT_TRUE(View().ends_with("1|live|3|3 barcodes synchronized|" + closing_)) << View();
  EXPECT_EQ(Message(), "1 of 3 records was not received. " + again_);
  EXPECT_NE(Entries().find("end incomplete"), std::string::npos);
}

TEST_F(ResultTest, SaysThatTheConnectionEndedDuringABurst) {
  CutBurst({.destination = 1});
  tavo.Scan("live");
  AwaitEnd(0);
  EXPECT_NE(View().find("|1 barcodes synchronized|" + closing_), std::string::npos) << View();
  EXPECT_EQ(Message(),
            "The connection was lost during the transfer: 1 record was delivered. " + again_);
  EXPECT_EQ(strip.Buttons(), std::vector<std::string>{"Show"});
  EXPECT_NE(Entries().find("end incomplete"), std::string::npos);
  ASSERT_TRUE(WaitFor([&] { return !controller.bConnecting; }));
  Synchronize();
  EXPECT_EQ(Message(), "3 records in 1 s, shown above");
}

TEST_F(ResultTest, SaysThatTheScannerWasErasedAfterACutOffBurst) {
  CutBurst({.destination = 1, .clearmemory = true});
  tavo.Scan("live");
  const std::string text = "The connection was lost during the transfer: 1 record was delivered. ";
  EXPECT_TRUE(WaitFor([&] { return Message() == text + "The scanner was erased."; })) << Message();
  EXPECT_TRUE(log.Has("Quillet: " + text + "Erasing the scanner…"));
}

TEST_F(ResultTest, BurstCountExcludesErasedRecords) {
  StartWith({.destination = 2});
  simulator::DeviceSettings scanner = Scanner({"1", "2", "3"});
  scanner.records[1] = simulator::Erased(scanner.records[1]);
  LaunchConnected(std::move(scanner));
  auto& delivered = test::Immortal<std::atomic<bool>>(false);
  keyEvents.onPost = [&delivered] { WaitFor([&] { return delivered.load(); }); };
  synchronize.Press();
  ASSERT_TRUE(WaitFor([&] { return controller.barcodeCount == 1; }));
  registry.Unplug(folder / "usbmodem1");
  EXPECT_EQ(Message(),
            "The scanner was disconnected during the synchronization. 2 records are in the "
            "archive. Restart "
            "Quillet to continue.");
  delivered = true;
  ASSERT_TRUE(WaitFor([&] { return controller.barcodeCount == 2; }));
}

TEST_F(ResultTest, NextRunReportsThatTheScannerWasNotErased) {
  files.flushes = false;
  ConnectWith({.destination = 1, .clearmemory = true}, {"1"});
  auto& pressed = test::Immortal<std::atomic<bool>>(false);
  clock.OnSleep([&tavo = tavo, &connected = controller.bIsConnected, &log = log, &pressed] {
    tavo.Settle(connected);
    if (log.Has("-[SyncController SynchronizeFinished]")) {
      WaitFor([&] { return pressed.load(); });
    }
  });
  Synchronize();
  tavo.Hold("N");
  synchronize.Press();
  pressed = true;
  const std::string text =
      "The scanner was not erased because 1 record was not saved. Check the disk.";
  EXPECT_TRUE(WaitFor([&] {
    mainQueue.RunAll();
    return strip.text() == text;
  })) << strip.text();
  EXPECT_EQ(strip.Buttons(), std::vector<std::string>{"Show"});
  tavo.WaitUntilHeld();
}

TEST_F(ResultTest, EndingARunTwiceKeepsTheFile) {
  const std::string path = folder / "stock.txt";
  StartAutomaticRun({.path = path}, "P");
  synchronize.Press();
  tavo.Release();
  AwaitEnd(1);
  EXPECT_EQ(FileContents(path), "1\r\n2\r\n3\r\n1\r\n2\r\n3\r\n");
  EXPECT_EQ(Message(), "6 records in 1 s: " + path);
}

TEST_F(ResultTest, CountsTheRecordsInAFileChosenDuringTheRun) {
  const std::string path = folder / "stock.txt";
  StartAutomaticRun({.destination = 1, .burstsync = false}, "p1#");
  Choose(0, path);
  tavo.Release();
  AwaitEnd(0);
  EXPECT_EQ(FileContents(path), "2\r\n3\r\n");
  EXPECT_EQ(Message(), "2 of 3 records in 1 s: " + path);
}

TEST_F(ResultTest, SaysThatAFileWasChosenTooLate) {
  StartAutomaticRun({.destination = 1, .burstsync = false}, "GS0");
  Choose(0, folder / "stock.txt");
  tavo.Release();
  AwaitEnd(0);
  EXPECT_EQ(Message(),
            "No file was written because the destination was changed to a file after the records "
            "were received. 3 records are in the archive.");
  EXPECT_EQ(strip.Buttons(), std::vector<std::string>{"Save as…"});
}

TEST_F(ResultTest, CountsOnlyRecordsThatWereTyped) {
  StartAutomaticRun({.destination = 1, .burstsync = false}, "p1#");
  Choose(2);
  tavo.Release();
  AwaitEnd(0);
  EXPECT_EQ(Message(), "2 of 3 records in 1 s, typed into the active application");
}

TEST_F(ResultTest, SuccessRemovesTheNoFileWrittenMessage) {
  const std::string path = folder / "missing/stock.txt";
  ConnectWith({.path = path, .autosync = true}, {"1"});
  AwaitEnd(0);
  EXPECT_EQ(Message(),
            path + " was not written: the folder does not exist. 1 record is in the archive.");
  std::filesystem::create_directory(folder / "missing");
  connect.Press();
  connect.Press();
  FinishConnecting();
  AwaitEnd(1);
  EXPECT_EQ(Message(), "1 record in 1 s: " + path);
}

TEST_F(ResultTest, DoesNotPromiseACopyIfTheArchiveFailed) {
  PutFile(archiveFolder, "a file where the folder should be");
  ConnectWith({.destination = 1, .clearmemory = true}, {"1"});
  Synchronize();
  const std::string only =
      "Quillet: With the current settings, the records are saved only in the archive.";
  EXPECT_FALSE(log.Has(only));
  ASSERT_TRUE(WaitFor([&] {
    return log.Has("-[Lumet EraseTavoMemory]: withheld, the records are not on the disk");
  }));
  std::filesystem::remove(archiveFolder);
  Synchronize();
  EXPECT_TRUE(log.Has(only));
}

TEST_F(ResultTest, ReportsAnArchiveErrorUntilARunIsArchived) {
  PutFile(archiveFolder, "a file where the folder should be");
  ConnectWith({.destination = 1}, {"1"});
  Synchronize();
  mainQueue.RunAll();
  EXPECT_TRUE(strip.Message().starts_with("Records cannot be saved")) << strip.Message();
  std::filesystem::remove(archiveFolder);
  Synchronize();
  mainQueue.RunAll();
  EXPECT_TRUE(strip.Message().starts_with("1 record in")) << strip.Message();
}

TEST_F(SynchronizationTest, IgnoresButtonsDuringAManualRun) {
  StartRunAndHoldItsBurst();
  EXPECT_TRUE(controller.bIsUnderSynchronization);
  const std::string before = View();
  for (auto* button : {&synchronize, &clear, &connect}) button->Press();
  EXPECT_EQ(View(), before);
  tavo.Release();
  AwaitEnd(0);
  EXPECT_FALSE(controller.bIsUnderSynchronization);
  EXPECT_EQ(View(), "|Synchronization has started...|1|1 barcodes synchronized|" + closing_);
  clear.Press();
  EXPECT_EQ(View(), "");
}

TEST_F(SynchronizationTest, ContinuesAManualRunAfterUnplugging) {
  StartRunAndHoldItsBurst();
  registry.Unplug(folder / "usbmodem1");
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_TRUE(controller.bIsUnderSynchronization);
}

TEST_F(SynchronizationTest, ShowsThatNoScannerIsConnected) {
  Launch();
  ClearView();
  synchronize.Press();
  EXPECT_EQ(View(), "Tavo is not connected. Please try after connecting Tavo.|");
  EXPECT_FALSE(controller.bIsUnderSynchronization);
}

TEST_F(SynchronizationTest, ClearKeepsPendingText) {
  Launch();
  controller.DisplayText("pending", true);
  clear.Press();
  EXPECT_EQ(View(), "pending|");
}

TEST_F(SynchronizationTest, LogsUrlLoadingCallbacks) {
  controller.connectionDidReceiveResponse();
  controller.connectionDidReceiveData("data");
  controller.connectionDidFailWithError();
  auto connection = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = connection;
  controller.connectionDidFinishLoading(std::move(connection));
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{"-[SyncController connection:didReceiveResponse:]",
                                      "-[SyncController connection:didReceiveData:]:data",
                                      "-[SyncController connection:didFailWithError:]"}));
}

TEST_F(SynchronizationTest, KeepsTheOrderOfTextFromEachThread) {
  std::vector<std::thread> threads;
  for (const char name : {'a', 'b'}) {
    threads.emplace_back([this, name] {
      for (int i = 0; i < 500; ++i)
        controller.DisplayText(std::string(1, name) + std::to_string(i), true);
    });
  }
  for (auto& thread : threads) thread.join();
  mainQueue.RunAll();
  int next[2] = {0, 0};
  std::istringstream lines(view.text());
  for (std::string text; std::getline(lines, text);) {
    EXPECT_EQ(text.substr(1), std::to_string(next[text[0] - 'a']++));
  }
  EXPECT_EQ(next[0] + next[1], 1000);
}

TEST_F(SynchronizationTest, ConvertsEachLineEndingToALineFeed) {
  controller.DisplayText("a\rb\nc\r\nd", false);
  controller.DisplayText("\r\r\n\n", true);
  controller.DisplayText("\r\ne", true);
  EXPECT_EQ(View(), "a|b|c|d|||||e|");
}

}  // namespace
}  // namespace quillet
