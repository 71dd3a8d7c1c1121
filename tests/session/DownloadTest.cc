#include "app/LineEnds.h"
#include "tests/session/SessionFixture.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;
using simulator::ExtremeRecords;
using simulator::Options;
using simulator::StockTaking;
using Commands = std::vector<std::string>;

class DownloadTest : public SessionFixture {
 protected:
  static Options Holding(std::vector<ScanRecord> records, Model model = Model::kOlder) {
    Options options = Options::Instant(model);
    options.device.records = std::move(records);
    return options;
  }
};

// A scanner may answer within the pause behind a command's last byte, or long after it.
class LatencyTest : public DownloadTest,
                    public ::testing::WithParamInterface<std::chrono::microseconds> {};

TEST_P(LatencyTest, RecordsArriveExactlyInBothModes) {
  Options options = Holding(StockTaking(20, Model::kOlder));
  options.latency = GetParam();
  Simulator& scanner = Attach(options);
  ASSERT_TRUE(Connect());
  DataOnly();
  const std::string expected = Join(DataLines(scanner.records()));

  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_EQ(SyncFile(), expected);

  controller.lumet->bBurstSync = 0;
  controller.lumet->filename.Set(folder / "singly.txt");
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_EQ(SyncFile(), expected);
}

INSTANTIATE_TEST_SUITE_P(Latencies, LatencyTest, ::testing::Values(0us, 500us, 2000us, 20000us),
                         [](const auto& each) {
                           return std::to_string(each.param.count()) + "Microseconds";
                         });

TEST_F(DownloadTest, ABurstIsOpenedFetchedWokenAndClosed) {
  Simulator& scanner = Attach(Holding(StockTaking(130, Model::kOlder)));
  ASSERT_TRUE(Connect());
  DataOnly();
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_EQ(scanner.commands_seen(),
            (Commands{"W", "M", "V", "w1#", "C", "W", "N", "GS1", "P", "W", "GS0"}));
  EXPECT_EQ(SyncFile(), Join(DataLines(scanner.records())));
  EXPECT_EQ(View(), "|Synchronization has started...|...|Synchronized to " +
                        controller.syncfileName.Get() +
                        "|130 barcodes synchronized|"
                        "Synchronization finished. Tavo can be plugged off now|");
}

TEST_F(DownloadTest, EveryByteOfExtremeRecordsArrives) {
  Simulator& scanner = Attach(Holding(ExtremeRecords(500, Model::kOlder)));
  ASSERT_TRUE(Connect());
  DataOnly();
  controller.lumet->destination = 1;
  ASSERT_TRUE(SynchronizeAndWait());
  std::string shown;
  for (const std::string& line : DataLines(scanner.records())) shown += FoldLineEnds(line);
  EXPECT_NE(view.text().find(shown), std::string::npos);
  EXPECT_NE(View().find("|500 barcodes synchronized|"), std::string::npos);
}

TEST_F(DownloadTest, EveryByteOfExtreme300SeriesRecordsArrives) {
  // The longest records are longer than a line can be; those are cut and everything else is whole.
  std::vector<ScanRecord> records = ExtremeRecords(300, Model::kSeries300);
  std::erase_if(records, [](const ScanRecord& record) { return record.data.size() > 10000; });
  Simulator& scanner = Attach(Holding(records, Model::kSeries300));
  ASSERT_TRUE(Connect());
  EXPECT_EQ(controller.lumet->bTavo300, 1);
  DataOnly();
  controller.lumet->destination = 1;
  ASSERT_TRUE(SynchronizeAndWait());
  std::string shown;
  for (const std::string& line : DataLines(scanner.records())) shown += FoldLineEnds(line);
  EXPECT_NE(view.text().find(shown), std::string::npos);
}

TEST_F(DownloadTest, CountsThatLookLikeTheEndOfAnAnswerAreDownloadedWhole) {
  Simulator& scanner = Attach(Holding({}));
  ASSERT_TRUE(Connect());
  DataOnly();
  for (const std::size_t count : {33U, 64U}) {
    scanner.SetRecords(StockTaking(count, Model::kOlder));
    for (const bool burst : {false, true}) {
      controller.lumet->bBurstSync = burst;
      ASSERT_TRUE(SynchronizeAndWait());
      EXPECT_NE(View().find("|" + std::to_string(count) + " barcodes synchronized|"),
                std::string::npos);
      EXPECT_EQ(SyncFile(), Join(DataLines(scanner.records())));
    }
  }
}

TEST_F(DownloadTest, ACountWhoseMiddleByteEndsItsAnswerStillFetchesTheWholeBurst) {
  Simulator& scanner = Attach(Holding({}));
  ASSERT_TRUE(Connect());
  DataOnly();
  for (const std::size_t count : {8448U, 16384U}) {
    scanner.SetRecords(StockTaking(count, Model::kOlder));
    ASSERT_TRUE(SynchronizeAndWait());
    EXPECT_EQ(SyncFile(), Join(DataLines(scanner.records())));
  }
}

TEST_F(DownloadTest, ErasedSlotsAreLeftOutOfABurst) {
  std::vector<ScanRecord> records = StockTaking(10, Model::kOlder);
  records[3] = Erased(records[3]);
  Attach(Holding(records));
  ASSERT_TRUE(Connect());
  DataOnly();
  ASSERT_TRUE(SynchronizeAndWait());
  records.erase(records.begin() + 3);
  EXPECT_EQ(SyncFile(), Join(DataLines(records)));
}

TEST_F(DownloadTest, ClearingErasesOnceAfterABurstAndTwiceOneByOne) {
  Simulator& scanner = Attach(Holding(StockTaking(3, Model::kOlder)));
  ASSERT_TRUE(Connect());
  controller.lumet->bClearMemory = 1;
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_TRUE(scanner.WaitForCommand("E"));
  EXPECT_TRUE(WaitFor(
      [&] { return controller.lumet->bCommandDone && !controller.lumet->cmdArray.Head(); }));
  EXPECT_EQ(scanner.erase_count(), 1U);
  EXPECT_TRUE(scanner.records().empty());

  scanner.SetRecords(StockTaking(3, Model::kOlder));
  controller.lumet->bBurstSync = 0;
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_TRUE(scanner.WaitForCommand("E", 3));
  // Without records the download has queued its own erase and the end queues none.
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_TRUE(scanner.WaitForCommand("E", 4));
  EXPECT_TRUE(View().find("No data to synchronize...") != std::string::npos);
}

TEST_F(DownloadTest, AScanWhileIdleIsDeliveredAtOnce) {
  Simulator& scanner = Attach(Holding({}));
  ASSERT_TRUE(Connect());
  DataOnly();
  controller.lumet->destination = 1;
  ClearView();
  scanner.Scan(0, "4006381333931");
  EXPECT_TRUE(WaitForView("4006381333931|"));
  EXPECT_EQ(controller.barcodeCount, 1);
}

TEST_F(DownloadTest, AnswersInPiecesOfOneByteAreTheSame) {
  Options options = Holding(StockTaking(30, Model::kSeries300), Model::kSeries300);
  options.chunk_size = 1;
  options.chunk_pause = 50us;
  Simulator& scanner = Attach(options);
  ASSERT_TRUE(Connect());
  DataOnly();
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_EQ(SyncFile(), Join(DataLines(scanner.records())));
}

TEST_F(DownloadTest, ARecordThatIsNotAnsweredIsLeftOut) {
  Options options = Holding(StockTaking(3, Model::kOlder));
  options.faults = simulator::ParseFaults("on p1# 1 silence");
  Simulator& scanner = Attach(options);
  ASSERT_TRUE(Connect());
  DataOnly();
  controller.lumet->bBurstSync = 0;
  ASSERT_TRUE(SynchronizeAndWait());
  std::vector<ScanRecord> records = scanner.records();
  records.erase(records.begin() + 1);
  EXPECT_EQ(SyncFile(), Join(DataLines(records)));
  EXPECT_NE(View().find("|2 barcodes synchronized|"), std::string::npos);
}

}  // namespace
}  // namespace quillet::test
