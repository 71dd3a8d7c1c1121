#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "simulator/RecordGenerator.h"
#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

class BothModels : public testing::TestWithParam<Model> {};

std::string NameOf(const testing::TestParamInfo<Model>& model) {
  return model.param == Model::kOlder ? "Older" : "Series300";
}
INSTANTIATE_TEST_SUITE_P(RecordGenerator, BothModels,
                         testing::Values(Model::kOlder, Model::kSeries300), NameOf);

TEST(CheckDigit, MatchesPrintedBarcodes) {
  EXPECT_EQ(CheckDigit("400638133393"), '1');   // EAN-13
  EXPECT_EQ(CheckDigit("9638507"), '4');        // EAN-8
  EXPECT_EQ(CheckDigit("03600029145"), '2');    // UPC-A
  EXPECT_EQ(CheckDigit("1540014128876"), '3');  // ITF-14
}

TEST(Symbologies, AreFoundRegardlessOfCaseAndPunctuation) {
  EXPECT_EQ(SymbologyCode(Model::kSeries300, "EAN-13"), 21);
  const std::pair<const char*, std::optional<int>> kOlderCodes[] = {
      {"EAN-13", 0},       {"Ean 13", 0}, {"ean13", 0}, {"Code 93", 10},
      {"Data Matrix", {}}, {"", {}},      {"--", {}}};
  for (const auto& [name, code] : kOlderCodes) {
    EXPECT_EQ(SymbologyCode(Model::kOlder, name), code) << name;
  }
}

TEST(Symbologies, UnusedNumbersHaveNoName) {
  EXPECT_EQ(SymbologyName(Model::kOlder, 20), "Code 93");  // 10 and 20 both mean Code 93
  EXPECT_EQ(SymbologyName(Model::kOlder, 12), "");
  EXPECT_EQ(SymbologyName(Model::kSeries300, 43), "HanXin Code");
  EXPECT_EQ(SymbologyName(Model::kSeries300, 44), "");
}

TEST_P(BothModels, StockTakingIsReproducibleForEachSeed) {
  EXPECT_EQ(StockTaking(500, GetParam(), 7), StockTaking(500, GetParam(), 7));
  EXPECT_NE(StockTaking(500, GetParam(), 7), StockTaking(500, GetParam(), 8));
  EXPECT_TRUE(StockTaking(0, GetParam()).empty());
}

TEST_P(BothModels, StockTakingRecordsSpanOneWorkingDay) {
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

TEST_P(BothModels, StockTakingGeneratesValidBarcodesForTheModel) {
  const std::map<std::string_view, std::size_t> lengths = {
      {"EAN-13", 13}, {"EAN-8", 8}, {"UPC-A", 12}, {"ITF-14", 14}, {"I2of5", 14}};
  std::size_t checked = 0;
  std::set<std::string_view> names;
  for (const ScanRecord& record : StockTaking(1000, GetParam())) {
    const std::string_view name = SymbologyName(GetParam(), record.symbology);
    names.insert(name);
    const auto found = lengths.find(name);
    if (found == lengths.end()) continue;
    const std::string text(record.data.begin(), record.data.end());
    ASSERT_EQ(text.size(), found->second) << name;
    EXPECT_EQ(CheckDigit(text.substr(0, text.size() - 1)), text.back()) << text;
    checked += 1;
  }
  EXPECT_GT(checked, 700U);
  std::set<std::string_view> expected = {"EAN-13", "EAN-8", "UPC-A", "Code 128", "Code 39"};
  if (GetParam() == Model::kOlder) {
    expected.insert("ITF-14");
  } else {
    expected.insert({"I2of5", "QR/Micro QR", "Data Matrix"});
  }
  EXPECT_EQ(names, expected);
}

TEST_P(BothModels, ExtremeRecordsCoverAllLimits) {
  std::set<int> symbologies, bytes;
  std::set<std::size_t> sizes;
  std::set<CalendarTime> times;
  for (const ScanRecord& record : ExtremeRecords(255, GetParam())) {
    symbologies.insert(record.symbology);
    if (symbologies.size() <= 50) bytes.insert(record.data.begin(), record.data.end());
    sizes.insert(record.data.size());
    times.insert(record.time);
    EXPECT_TRUE(IsValid(record.time));
    EXPECT_NO_THROW(Encode(record, GetParam()));
  }
  EXPECT_EQ(symbologies.size(), 255U);
  EXPECT_EQ(symbologies.count(kErasedSlot), 0U);
  EXPECT_EQ(*sizes.begin(), 0U);
  EXPECT_EQ(*sizes.rbegin(), MaxDataSize(GetParam()));
  EXPECT_EQ(*times.begin(), (CalendarTime{2000, 1, 1, 0, 0, 0}));
  EXPECT_EQ(*times.rbegin(), (CalendarTime{2063, 12, 31, 23, 59, 59}));
  for (const int byte : {0x03, 0x0A, 0x0D, 0x11, 0x13, 0x21, 0x40, 0x00, 0xFF}) {
    EXPECT_EQ(bytes.count(byte), 1U) << byte;
  }
}

}  // namespace
}  // namespace quillet::simulator
