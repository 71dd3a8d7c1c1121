#include "app/LineEnds.h"
#include "download/RecordComposer.h"
#include "tests/session/SessionFixture.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;
using simulator::Options;

class SessionTest : public SessionFixture {
 protected:
  /// Connects a scanner with these records. Each output line is a record's data followed by CR LF.
  void ConnectWith(const Choice& choice, std::vector<ScanRecord> records,
                   Model model = Model::kOlder, std::chrono::microseconds latency = 0us) {
    StartWith(choice);
    Options options = Options::Instant(model);
    options.device.records = std::move(records);
    options.latency = latency;
    Attach(options);
    ASSERT_TRUE(Connect());
  }

  /// Returns the expected lines of all records.
  std::string Lines() const {
    constexpr std::size_t kLongestLine = 10239;
    std::string lines, line;
    for (const ScanRecord& record : scanner->Records()) {
      const std::string bytes = std::string(record.data.begin(), record.data.end()) + "\r\n";
      DecodeRecordText(bytes.substr(0, kLongestLine), line);
      lines += line;
    }
    return lines;
  }
};

class LatencyTest : public SessionTest,
                    public ::testing::WithParamInterface<std::chrono::microseconds> {};

TEST_P(LatencyTest, WritesAllRecordsToTheFile) {
  ConnectWith({}, StockTaking(20, Model::kOlder), Model::kOlder, GetParam());
  for (const bool burst : {true, false}) {
    Change(&platform::SettingsValues::burstsync, burst);
    Choose(kToFile, folder / (burst ? "burst.txt" : "singly.txt"));
    ASSERT_TRUE(SynchronizeAndWait());
    EXPECT_EQ(FileContents(controller.syncfileName.Get()), Lines());
  }
}

// With these latencies, the scanner answers during or after the pause that follows a command.
INSTANTIATE_TEST_SUITE_P(Latencies, LatencyTest, ::testing::Values(0us, 500us, 2000us, 20000us),
                         [](const auto& each) {
                           return std::to_string(each.param.count()) + "Microseconds";
                         });

class LayoutTest : public SessionTest, public ::testing::WithParamInterface<Model> {};

TEST_P(LayoutTest, DoesNotTruncateRecordsWithExtremeValues) {
  const std::vector<ScanRecord> records = simulator::ExtremeRecords(500, GetParam());
  ConnectWith({.destination = kToView}, records, GetParam());
  EXPECT_EQ(controller.lumet->bTavo300, GetParam() == Model::kSeries300 ? 1 : 0);
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_NE(view.text().find(FoldLineEnds(Lines())), std::string::npos);
  EXPECT_NE(View().find("|" + std::to_string(records.size()) + " barcodes synchronized|"),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Layouts, LayoutTest, ::testing::Values(Model::kOlder, Model::kSeries300),
                         [](const auto& each) {
                           return each.param == Model::kOlder ? "Older" : "Of300Series";
                         });

TEST_F(SessionTest, SendsNothingAfterATimeOutUntilAnAnswerArrives) {
  ConnectWith({.syncclock = true, .clearmemory = true}, StockTaking(3, Model::kOlder));
  scanner->AddFault("on E 1 silence");
  ASSERT_TRUE(SynchronizeAndWait());
  ASSERT_TRUE(scanner->WaitForCommand("E"));
  std::this_thread::sleep_for(5500ms);  // the time-out is 5 s

  connect.Press();
  EXPECT_TRUE(WaitForView("Disconnected from Tavo[005771]|"));
  ASSERT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  std::vector<std::string> expected = scanner->Report().commandsSeen;
  connect.Press();
  FinishConnecting();
  EXPECT_TRUE(View().ends_with(": Failed|"));
  EXPECT_EQ(controller.lumet->bCommandDone(), false);
  EXPECT_EQ(scanner->Report().commandsSeen, expected);

  scanner->AddFault("at 0ms send 40");
  EXPECT_TRUE(WaitForView(": Failed||Connected to Tavo[005771]|"));
  ASSERT_TRUE(scanner->WaitForCommand("C", 2));
  expected.insert(expected.end(), {"W", "M", "V", "w1#", "C"});
  EXPECT_EQ(scanner->Report().commandsSeen, expected);
}

}  // namespace
}  // namespace quillet::test
