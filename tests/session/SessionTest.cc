#include "app/LineEnds.h"
#include "download/RecordComposer.h"
#include "tests/session/SessionFixture.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;
using simulator::Options;
using Commands = std::vector<std::string>;

Options Holding(std::vector<ScanRecord> records, Model model = Model::kOlder) {
  Options options = Options::Instant(model);
  options.device.records = std::move(records);
  return options;
}

/// The lines of records under DataOnly().
std::string DataLines(const std::vector<ScanRecord>& records) {
  std::string lines, line;
  for (const ScanRecord& record : records) {
    DecodeRecordText(std::string(record.data.begin(), record.data.end()), line);
    lines += line + "\r\n";
  }
  return lines;
}

class SessionTest : public SessionFixture {
 protected:
  /// A line is its data and a line end.
  void DataOnly() {
    Lumet& lumet = *controller.lumet;
    lumet.bAttachType = lumet.bAttachSerial = lumet.bAttachTimestamp = 0;
    lumet.recorddelimiter = 4;
  }
};

// A scanner may answer within the pause after a command's last byte, or long after it.
class LatencyTest : public SessionTest,
                    public ::testing::WithParamInterface<std::chrono::microseconds> {};

TEST_P(LatencyTest, RecordsArriveExactlyInBothModes) {
  Options options = Holding(StockTaking(20, Model::kOlder));
  options.latency = GetParam();
  Attach(options);
  ASSERT_TRUE(Connect());
  DataOnly();
  for (const bool burst : {true, false}) {
    controller.lumet->bBurstSync = burst;
    controller.lumet->filename.Set(folder / (burst ? "burst.txt" : "singly.txt"));
    ASSERT_TRUE(SynchronizeAndWait());
    EXPECT_EQ(FileContents(controller.syncfileName.Get()), DataLines(scanner->Records()));
  }
}

INSTANTIATE_TEST_SUITE_P(Latencies, LatencyTest, ::testing::Values(0us, 500us, 2000us, 20000us),
                         [](const auto& each) {
                           return std::to_string(each.param.count()) + "Microseconds";
                         });

class LayoutTest : public SessionTest, public ::testing::WithParamInterface<Model> {};

TEST_P(LayoutTest, EveryByteOfExtremeRecordsArrives) {
  std::vector<ScanRecord> records = simulator::ExtremeRecords(500, GetParam());
  // A record longer than a line is cut.
  std::erase_if(records, [](const ScanRecord& record) { return record.data.size() > 10000; });
  Attach(Holding(records, GetParam()));
  ASSERT_TRUE(Connect());
  EXPECT_EQ(controller.lumet->bTavo300, GetParam() == Model::kSeries300 ? 1 : 0);
  DataOnly();
  controller.lumet->destination = 1;
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_NE(view.text().find(FoldLineEnds(DataLines(scanner->Records()))), std::string::npos);
  EXPECT_NE(View().find("|" + std::to_string(records.size()) + " barcodes synchronized|"),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Layouts, LayoutTest, ::testing::Values(Model::kOlder, Model::kSeries300),
                         [](const auto& each) {
                           return each.param == Model::kOlder ? "Older" : "Of300Series";
                         });

TEST_F(SessionTest, AnExclamationMarkEndsAnswersToo) {
  Options options;
  options.device.terminator = '!';
  Attach(options);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(controller.lumet->SerialNo.TextFrom(0), "2104005771");
}

TEST_F(SessionTest, ATimeOutBlocksSendingOverAReconnect) {
  Attach(Holding(StockTaking(3, Model::kOlder)));
  ASSERT_TRUE(Connect());
  controller.lumet->bClearMemory = 1;
  scanner->AddFault("on E 1 silence");
  ASSERT_TRUE(SynchronizeAndWait());
  ASSERT_TRUE(scanner->WaitForCommand("E"));
  std::this_thread::sleep_for(5500ms);  // an answer is waited for 5 s

  connect.Press();
  EXPECT_TRUE(WaitForView("Disconnected from Tavo[005771]|"));
  ASSERT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  const Commands before = scanner->Report().commandsSeen;
  connect.Press();
  FinishConnecting();
  EXPECT_TRUE(View().ends_with(": Failed|"));
  EXPECT_EQ(controller.lumet->bCommandDone(), false);
  EXPECT_EQ(scanner->Report().commandsSeen, before);

  scanner->AddFault("at 0ms send 40");
  EXPECT_TRUE(WaitForView(": Failed||Connected to Tavo[005771]|"));
  ASSERT_TRUE(scanner->WaitForCommand("C", 2));
  Commands expected = before;
  expected.insert(expected.end(), {"W", "M", "V", "w1#", "C"});
  EXPECT_EQ(scanner->Report().commandsSeen, expected);
}

}  // namespace
}  // namespace quillet::test
