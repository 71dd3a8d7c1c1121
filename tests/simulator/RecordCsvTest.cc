#include <gtest/gtest.h>

#include <string>

#include "simulator/InputError.h"
#include "simulator/RecordCsv.h"

namespace quillet::simulator {
namespace {

std::string CsvError(std::string_view csv, Model model = Model::kOlder) {
  try {
    ParseRecords(csv, model);
  } catch (const InputError& error) {
    return error.what();
  }
  return "no error";
}

TEST(RecordCsv, ReadsSymbologyDataAndTime) {
  const auto records = ParseRecords("EAN-13,4006381333931,2026-11-16 09:15:00\n", Model::kOlder);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0], MakeRecord(0, "4006381333931", {2026, 11, 16, 9, 15, 0}));
}

TEST(RecordCsv, QuotedDataMayHoldCommasAndQuotes) {
  const auto records = ParseRecords(R"(4,"a,""b"",c",2026-11-16 09:15:00)", Model::kOlder);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].data, ToBytes("a,\"b\",c"));
}

TEST(RecordCsv, EscapesGiveAnyByte) {
  const auto records = ParseRecords(R"(0x86,\x00\xfF\\\n,2026-11-16 09:15:00)", Model::kSeries300);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].symbology, 0x86);
  EXPECT_EQ(records[0].data, (Bytes{0x00, 0xFF, '\\', '\n'}));
}

TEST(RecordCsv, ErasedStandsForAnErasedSlot) {
  const auto records = ParseRecords("erased,,2026-11-16 09:15:00", Model::kOlder);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].symbology, kErasedSlot);
  EXPECT_TRUE(records[0].data.empty());
}

TEST(RecordCsv, CommentsEmptyLinesAndWindowsLineEndsAreNoRecords) {
  const auto records = ParseRecords(
      "# shelf 2\r\n\r\n  \n0,1,2026-11-16 09:15:00\r\n0,2,2026-11-16 09:15:01\r\n", Model::kOlder);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1].data, ToBytes("2"));
}

TEST(RecordCsv, ErrorsNameTheLineAndTheReason) {
  const std::string good = "0,1,2026-11-16 09:15:00\n";
  EXPECT_EQ(CsvError(good + "# note\n99 bottles,1,2026-11-16 09:15:00\n"),
            "line 3: \"99 bottles\" is no symbology of this model and no number 0 to 255");
  EXPECT_EQ(CsvError(good + "0,1\n"),
            "line 2: expected symbology, data and time; there are 2 fields");
  EXPECT_EQ(CsvError(good + "0,1,2026-11-31 09:15:00\n"),
            "line 2: \"2026-11-31 09:15:00\" is no time of the years 2000 to 2063 written as "
            "YYYY-MM-DD HH:MM:SS");
  EXPECT_EQ(CsvError(good + "0,\\x4,2026-11-16 09:15:00\n"),
            "line 2: \\x must be followed by two hexadecimal digits");
  EXPECT_EQ(CsvError("0,\"1,2026-11-16 09:15:00\n"), "line 1: a quotation mark is not closed");
  EXPECT_EQ(CsvError("0,\"1\"2,2026-11-16 09:15:00\n"),
            "line 1: expected a comma behind the closing quotation mark");
}

TEST(RecordCsv, DataMustFitTheModel) {
  const std::string line = "0," + std::string(251, 'x') + ",2026-11-16 09:15:00";
  EXPECT_EQ(CsvError(line), "line 1: the data has 251 bytes; a record of this model holds 250");
  EXPECT_EQ(CsvError(line, Model::kSeries300), "no error");
}

}  // namespace
}  // namespace quillet::simulator
