#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/RecordGenerator.h"
#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

std::string TextOf(const ScanRecord& record) {
  return {record.data.begin(), record.data.end()};
}

std::set<std::string_view> SymbologiesOf(const std::vector<ScanRecord>& records, Model model) {
  std::set<std::string_view> names;
  for (const ScanRecord& record : records) names.insert(SymbologyName(model, record.symbology));
  return names;
}

class BothModels : public testing::TestWithParam<Model> {};

std::string NameOf(const testing::TestParamInfo<Model>& model) {
  return model.param == Model::kOlder ? "Older" : "Series300";
}
INSTANTIATE_TEST_SUITE_P(RecordGenerator, BothModels,
                         testing::Values(Model::kOlder, Model::kSeries300), NameOf);

TEST(CheckDigit, IsTheOneThatIsPrintedOnRealGoods) {
  EXPECT_EQ(CheckDigit("400638133393"), '1');   // 13 digits
  EXPECT_EQ(CheckDigit("9638507"), '4');        // 8 digits
  EXPECT_EQ(CheckDigit("03600029145"), '2');    // 12 digits
  EXPECT_EQ(CheckDigit("1540014128876"), '3');  // 14 digits
}

TEST_P(BothModels, StockTakingGivesTheSameRecordsForTheSameState) {
  EXPECT_EQ(StockTaking(500, GetParam(), 7), StockTaking(500, GetParam(), 7));
  EXPECT_NE(StockTaking(500, GetParam(), 7), StockTaking(500, GetParam(), 8));
}

TEST_P(BothModels, StockTakingTimesRiseThroughOneWorkingDay) {
  for (const std::size_t count : {130U, 1000U}) {
    const auto records = StockTaking(count, GetParam());
    ASSERT_EQ(records.size(), count);
    EXPECT_TRUE(std::is_sorted(records.begin(), records.end(),
                               [](const auto& a, const auto& b) { return a.time < b.time; }));
    EXPECT_GT(records.front().time, (CalendarTime{2026, 11, 16, 7, 0, 0}));
    EXPECT_GT(records.back().time, (CalendarTime{2026, 11, 16, 14, 0, 0}));
    EXPECT_LT(records.back().time, (CalendarTime{2026, 11, 16, 18, 0, 0}));
  }
}

TEST_P(BothModels, StockTakingNumbersHaveRightCheckDigits) {
  const Model model = GetParam();
  std::size_t checked = 0;
  for (const ScanRecord& record : StockTaking(1000, model)) {
    const std::string_view name = SymbologyName(model, record.symbology);
    const std::string text = TextOf(record);
    const std::size_t digits = name == "EAN-13"                      ? 13
                               : name == "EAN-8"                     ? 8
                               : name == "UPC-A"                     ? 12
                               : name == "ITF-14" || name == "I2of5" ? 14
                                                                     : 0;
    if (digits == 0) continue;
    ASSERT_EQ(text.size(), digits) << name;
    EXPECT_EQ(CheckDigit(text.substr(0, digits - 1)), text.back()) << name << " " << text;
    checked += 1;
  }
  EXPECT_GT(checked, 700U);
}

TEST(StockTaking, UsesTheSymbologiesOfItsModel) {
  EXPECT_EQ(
      SymbologiesOf(StockTaking(1000, Model::kOlder), Model::kOlder),
      (std::set<std::string_view>{"EAN-13", "EAN-8", "UPC-A", "ITF-14", "Code 128", "Code 39"}));
  EXPECT_EQ(SymbologiesOf(StockTaking(1000, Model::kSeries300), Model::kSeries300),
            (std::set<std::string_view>{"EAN-13", "EAN-8", "UPC-A", "I2of5", "Code 128", "Code 39",
                                        "QR/Micro QR", "Data Matrix"}));
}

TEST(StockTaking, NoRecordsAreAPossibleDay) {
  EXPECT_TRUE(StockTaking(0, Model::kOlder).empty());
}

TEST_P(BothModels, ExtremeRecordsCoverEverySymbologyByteButTheErasedOne) {
  std::set<int> bytes;
  for (const ScanRecord& record : ExtremeRecords(255, GetParam())) bytes.insert(record.symbology);
  EXPECT_EQ(bytes.size(), 255U);
  EXPECT_EQ(bytes.count(kErasedSlot), 0U);
}

TEST_P(BothModels, ExtremeRecordsReachFromNoDataToTheMost) {
  std::set<std::size_t> sizes;
  for (const ScanRecord& record : ExtremeRecords(200, GetParam())) sizes.insert(record.data.size());
  EXPECT_EQ(*sizes.begin(), 0U);
  EXPECT_EQ(*sizes.rbegin(), MaxDataSize(GetParam()));
}

TEST_P(BothModels, ExtremeRecordsHoldTheBytesThatMeanSomethingOnALine) {
  std::set<int> bytes;
  for (const ScanRecord& record : ExtremeRecords(50, GetParam())) {
    bytes.insert(record.data.begin(), record.data.end());
  }
  for (const int byte : {0x03, 0x0A, 0x0D, 0x11, 0x13, 0x21, 0x40, 0x00, 0xFF}) {
    EXPECT_EQ(bytes.count(byte), 1U) << byte;
  }
}

TEST_P(BothModels, ExtremeRecordsHoldTheFirstAndTheLastMoment) {
  CalendarTime first{2063, 12, 31, 23, 59, 59};
  CalendarTime last;
  for (const ScanRecord& record : ExtremeRecords(200, GetParam())) {
    ASSERT_TRUE(IsValid(record.time)) << ToText(record.time);
    first = std::min(first, record.time);
    last = std::max(last, record.time);
  }
  EXPECT_EQ(first, (CalendarTime{2000, 1, 1, 0, 0, 0}));
  EXPECT_EQ(last, (CalendarTime{2063, 12, 31, 23, 59, 59}));
}

TEST_P(BothModels, ExtremeRecordsCanAllBeStored) {
  for (const ScanRecord& record : ExtremeRecords(600, GetParam())) {
    EXPECT_NO_THROW(Encode(record, GetParam()));
  }
}

}  // namespace
}  // namespace quillet::simulator
