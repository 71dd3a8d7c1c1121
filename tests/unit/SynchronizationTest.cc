#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using test::FileContents;
using test::WaitFor;

class SynchronizationTest : public test::AppFixture {
 protected:
  /// Connected, nothing shown yet, the clock not mentioned.
  void Connected() {
    Launch();
    controller.lumet->bSyncClock = 0;
    BecomeConnected();
    ClearView();
    clock.Set({2026, 11, 16, 1, 4, 9});
  }

  void Deliver(int records) {
    for (int i = 0; i < records; ++i) controller.DisplayBarcode("r" + std::to_string(i) + "\r\n");
  }

  std::string GeneratedFile() const { return dataFolder + "123456_20261116_010409.txt"; }
};

TEST_F(SynchronizationTest, ARunOf130RecordsToAFileShowsThreeDotsTheFileAndTheCount) {
  Connected();
  synchronize.Press();
  Deliver(130);
  controller.SynchronizeFinished();
  EXPECT_EQ(View(), "|Synchronization has started...|...|Synchronized to " + GeneratedFile() +
                        "|130 barcodes synchronized|"
                        "Synchronization finished. Tavo can be plugged off now|");
  std::string expected;
  for (int i = 0; i < 130; ++i) expected += "r" + std::to_string(i) + "\r\n";
  EXPECT_EQ(FileContents(GeneratedFile()), expected);
}

TEST_F(SynchronizationTest, ARunWithoutRecordsWritesNoFileAndErasesNothing) {
  Connected();
  controller.lumet->bClearMemory = 1;
  synchronize.Press();
  controller.SynchronizeFinished();
  EXPECT_EQ(View(),
            "|Synchronization has started...|No data to synchronize...|"
            "Synchronization finished. Tavo can be plugged off now|");
  EXPECT_FALSE(FileContents(GeneratedFile()));
  for (std::size_t i = 0; i < 32; ++i) EXPECT_NE(controller.lumet->cmdArray().at(i), 'E');
}

TEST_F(SynchronizationTest, APathWithoutThePlaceholderIsWrittenAsItIs) {
  Connected();
  const std::string path = folder / "stock.txt";
  controller.lumet->filename.Set(path);
  for (int round = 0; round < 2; ++round) {
    synchronize.Press();
    Deliver(1);
    controller.SynchronizeFinished();
    EXPECT_EQ(FileContents(path), "r0\r\n");
  }
  controller.lumet->bAppendData = 1;
  synchronize.Press();
  Deliver(1);
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(path), "r0\r\nr0\r\n");
  EXPECT_EQ(controller.syncfileName.Get(), path);
}

TEST_F(SynchronizationTest, TheViewGetsEachRecordWithoutALineEndOfItsOwn) {
  Connected();
  controller.lumet->destination = 1;
  synchronize.Press();
  controller.DisplayBarcode("one");
  controller.DisplayBarcode("two\r\n");
  controller.SynchronizeFinished();
  EXPECT_EQ(View(),
            "|Synchronization has started...|onetwo|2 barcodes synchronized|"
            "Synchronization finished. Tavo can be plugged off now|");
}

TEST_F(SynchronizationTest, AnAutomaticRunLeavesConnectAndClearWorking) {
  Launch();
  controller.lumet->bAutoSync = 1;
  BecomeConnected();
  Deliver(1);
  mainQueue.RunAll();
  clear.Press();
  EXPECT_EQ(View(), "");
  connect.Press();
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(SynchronizationTest, WhatWaitsToBeShownIsNotCleared) {
  Connected();
  controller.DisplayText("shown", true);
  mainQueue.RunAll();
  controller.DisplayText("waiting", true);
  clear.Press();
  EXPECT_EQ(View(), "waiting|");
}

TEST_F(SynchronizationTest, ARunFromTheButtonBlocksConnectSynchronizeAndClear) {
  Connected();
  synchronize.Press();
  EXPECT_TRUE(controller.bIsUnderSynchronization);
  const std::string before = View();
  synchronize.Press();
  clear.Press();
  connect.Press();
  EXPECT_EQ(View(), before);
  EXPECT_TRUE(controller.bIsConnected);
  controller.SynchronizeFinished();
  EXPECT_FALSE(controller.bIsUnderSynchronization);
  mainQueue.RunAll();
  clear.Press();
  EXPECT_EQ(View(), "");
}

TEST_F(SynchronizationTest, ClearDoesNothingWhileConnecting) {
  Launch();
  const std::string before = View();
  controller.bConnecting = true;
  clear.Press();
  EXPECT_EQ(View(), before);
  controller.bConnecting = false;
}

TEST_F(SynchronizationTest, WithoutAScannerSynchronizeSaysWhatToDo) {
  Launch();
  ClearView();
  synchronize.Press();
  EXPECT_EQ(View(), "Tavo is not connected. Please try after connecting Tavo.|");
  EXPECT_FALSE(controller.bIsUnderSynchronization);
}

TEST_F(SynchronizationTest, MemoryIsErasedAfterTheCountIsShown) {
  Connected();
  controller.lumet->bClearMemory = 1;
  synchronize.Press();
  Deliver(2);
  const std::int32_t before = controller.lumet->cmdArray().cmdWrite();
  controller.SynchronizeFinished();
  EXPECT_TRUE(
      View().ends_with("|2 barcodes synchronized|Erased Tavo memory...|"
                       "Synchronization finished. Tavo can be plugged off now|"));
  EXPECT_EQ(controller.lumet->cmdArray().cmdWrite(), before + 2);
  EXPECT_EQ(controller.lumet->cmdArray().at(static_cast<std::size_t>(before) + 1), 'E');
}

TEST_F(SynchronizationTest, AFailedWriteIsShownAsDoneAndLogged) {
  Connected();
  controller.lumet->filename.Set(folder / "absent/out.txt");
  synchronize.Press();
  Deliver(1);
  controller.SynchronizeFinished();
  EXPECT_TRUE(log.Has("Fail to write"));
  EXPECT_NE(View().find("Synchronized to " + folder.path() + "/absent/out.txt|"),
            std::string::npos);
}

TEST_F(SynchronizationTest, ARecordOutsideARunIsCountedAndKeptNowhere) {
  Connected();
  controller.DisplayBarcode("stray\r\n");
  EXPECT_EQ(controller.barcodeCount, 1);
  EXPECT_EQ(controller.barcodedata.load(), nullptr);
  synchronize.Press();
  Deliver(1);
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(GeneratedFile()), "r0\r\n");
}

TEST_F(SynchronizationTest, AnEndThatIsReportedTwiceDoesNotEmptyTheFile) {
  Connected();
  controller.lumet->filename.Set(folder / "stock.txt");
  synchronize.Press();
  Deliver(1);
  controller.SynchronizeFinished();
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "r0\r\n");
}

TEST_F(SynchronizationTest, AnEndThatIsReportedTwiceCostsALaterRunNothing) {
  Connected();
  controller.lumet->filename.Set(folder / "stock.txt");
  synchronize.Press();
  Deliver(1);
  controller.SynchronizeFinished();
  controller.SynchronizeFinished();
  controller.DoSynchronization();  // as a connection starts it
  Deliver(2);
  synchronize.Press();
  controller.DisplayBarcode("rest of the first\r\n");
  controller.SynchronizeFinished();
  Deliver(3);
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "r0\r\nr1\r\nr2\r\n");
}

TEST_F(SynchronizationTest, ARunWhoseDestinationBecomesTheFileWritesWhatComesFromThenOn) {
  Connected();
  controller.lumet->filename.Set(folder / "stock.txt");
  controller.lumet->destination = 1;
  synchronize.Press();
  controller.DisplayBarcode("seen\r\n");
  controller.lumet->destination = 0;
  controller.DisplayBarcode("saved\r\n");
  controller.DisplayBarcode("saved too\r\n");
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "saved\r\nsaved too\r\n");
  EXPECT_NE(
      View().find("|Synchronized to " + folder.path() + "/stock.txt|3 barcodes synchronized|"),
      std::string::npos);
}

TEST_F(SynchronizationTest, ARunStartedBeforeAnAutomaticOneEndedIsWrittenToo) {
  Connected();
  controller.lumet->filename.Set(folder / "stock.txt");
  controller.DoSynchronization();  // as a connection starts it
  Deliver(2);
  synchronize.Press();
  controller.DisplayBarcode("rest of the first\r\n");
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "rest of the first\r\n");
  Deliver(3);
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "r0\r\nr1\r\nr2\r\n");
}

TEST_F(SynchronizationTest, TheCountShownIsTheEndedRunsThoughAnotherHasStarted) {
  Connected();
  controller.lumet->filename.Set(folder / "stock.txt");
  synchronize.Press();
  Deliver(2);
  // The next run starts as soon as the button works again, while the file is being written.
  files.whileReplacing = [this] { synchronize.Press(); };
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "r0\r\nr1\r\n");
  EXPECT_NE(View().find("|2 barcodes synchronized|"), std::string::npos);
  Deliver(1);
  controller.SynchronizeFinished();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "r0\r\n");
}

TEST_F(SynchronizationTest, ARecordOutsideAsciiLosesAsManyBytesAsItHasMoreThanCharacters) {
  Connected();
  controller.lumet->filename.Set(folder / "stock.txt");
  synchronize.Press();
  controller.DisplayBarcode(
      "\xC3\xA9"
      "1\r\n");
  controller.DisplayBarcode("plain\r\n");
  controller.DisplayBarcode("1\xE2\x82\xAC");
  controller.SynchronizeFinished();
  // The last record is cut within its character, whose rest is marked.
  EXPECT_EQ(FileContents(folder / "stock.txt"),
            "\xC3\xA9"
            "1\rplain\r\n1\xEF\xBF\xBD");
}

TEST_F(SynchronizationTest, RecordsForOtherApplicationsAreCountedAndNotShown) {
  Connected();
  for (const int destination : {2, 3, -48, 9}) {
    controller.lumet->destination = destination;
    controller.barcodeCount = 0;
    Deliver(2);
    EXPECT_EQ(controller.barcodeCount, 2);
    EXPECT_EQ(View(), "");
  }
}

TEST_F(SynchronizationTest, UrlLoadingOnlyLogs) {
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

TEST_F(SynchronizationTest, TextsFromSeveralThreadsKeepTheOrderOfEachThreadsCalls) {
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
  std::size_t start = 0;
  for (std::size_t end; (end = view.text().find('\n', start)) != std::string::npos;
       start = end + 1) {
    const std::string line = view.text().substr(start, end - start);
    EXPECT_EQ(line.substr(1), std::to_string(next[line[0] - 'a']++));
  }
  EXPECT_EQ(next[0] + next[1], 1000);
}

TEST_F(SynchronizationTest, EachTextsLineEndsAreItsOwn) {
  controller.DisplayText("a", true);
  controller.DisplayText("\r\nb", true);
  controller.DisplayText("c\r\nd", false);
  EXPECT_EQ(View(), "a||b|c|d");
}

}  // namespace
}  // namespace quillet
