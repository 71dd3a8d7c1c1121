#include <gtest/gtest.h>

#include <locale>
#include <stdexcept>
#include <string>
#include <utility>

#include "simulator/Input.h"

namespace quillet::simulator {
namespace {

using std::chrono::milliseconds;

constexpr CalendarTime kTableTime{2026, 11, 16, 9, 15, 0};

ScanRecord OnlyRecord(const std::string& csv, Model model = Model::kOlder) {
  const auto records = ParseRecords(csv, model);
  return records.size() == 1 ? records.front() : MakeRecord(0, "not one record", {});
}

std::string CsvError(std::string_view csv, Model model = Model::kOlder) {
  try {
    ParseRecords(csv, model);
  } catch (const InputError& error) {
    return error.what();
  }
  return "no error";
}

TEST(Duration, AcceptsNonNegativeNumbersOnly) {
  EXPECT_EQ(ReadDuration("0", milliseconds(1)), milliseconds(0));
  EXPECT_EQ(ReadDuration("700", milliseconds(1)), milliseconds(700));
  EXPECT_EQ(ReadDuration("2.5", milliseconds(1000)), milliseconds(2500));
  EXPECT_EQ(ReadDuration(".25", milliseconds(1000)), milliseconds(250));
  EXPECT_EQ(ReadDuration("1e3", milliseconds(1)), milliseconds(1000));
  for (const char* text :
       {"", " 1", "1 ", "+1", "-1", "1,5", "1s", "1.5.", "inf", "nan", "1e999"}) {
    EXPECT_EQ(ReadDuration(text, milliseconds(1)), std::nullopt) << '"' << text << '"';
  }
}

TEST(Duration, UsesADecimalPointInEveryLocale) {
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Comma));
  EXPECT_EQ(ReadDuration("2.5", milliseconds(2)), milliseconds(5));
  EXPECT_EQ(ReadDuration("2,5", milliseconds(2)), std::nullopt);
  std::locale::global(before);
}

TEST(SymbologyByte, AcceptsANameOrANumberInDecimalOrHexadecimal) {
  EXPECT_EQ(ParseSymbologyByte(Model::kSeries300, "QR/Micro QR"), 34);
  EXPECT_EQ(ParseSymbologyByte(Model::kOlder, "255"), 255);
  EXPECT_EQ(ParseSymbologyByte(Model::kOlder, "0x86"), 0x86);
  for (const char* text : {"", "256", "0x", "0x100", "-1", "7 ", "no such"}) {
    EXPECT_THROW(ParseSymbologyByte(Model::kOlder, text), std::invalid_argument) << text;
  }
}

TEST(RecordTable, ReadsSymbologyDataAndTime) {
  EXPECT_EQ(OnlyRecord("EAN-13,4006381333931,2026-11-16 09:15:00\n"),
            MakeRecord(0, "4006381333931", kTableTime));
  EXPECT_EQ(OnlyRecord(R"(4,"a,""b"",c",2026-11-16 09:15:00)"),
            MakeRecord(4, "a,\"b\",c", kTableTime));
  EXPECT_EQ(OnlyRecord(R"(0x86,\x00\xfF\\\n,2026-11-16 09:15:00)", Model::kSeries300),
            MakeRecord(0x86, std::string_view("\0\xFF\\\n", 4), kTableTime));
  EXPECT_EQ(OnlyRecord("erased,,2026-11-16 09:15:00"), MakeRecord(kErasedSlot, "", kTableTime));
}

TEST(RecordTable, IgnoresCommentsAndEmptyLines) {
  const auto records = ParseRecords(
      "# shelf 2\r\n\r\n  \n0,1,2026-11-16 09:15:00\r\n0,2,2026-11-16 09:15:01\r\n", Model::kOlder);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1].data, ToBytes("2"));
}

TEST(RecordTable, ReportsErrorsWithLineAndReason) {
  const std::string good = "0,1,2026-11-16 09:15:00\n";
  const std::pair<std::string, const char*> kErrors[] = {
      {good + "# note\n99 bottles,1,2026-11-16 09:15:00\n",
       "line 3: \"99 bottles\" is neither a symbology of this model nor a number from 0 to 255"},
      {good + "0,1\n", "line 2: expected 3 fields (symbology, data, time), not 2"},
      {good + "0,1,2026-11-31 09:15:00\n",
       "line 2: \"2026-11-31 09:15:00\" is not a valid time: use "
       "YYYY-MM-DD HH:MM:SS, with a year from 2000 to 2063"},
      {"0,\\x4,2026-11-16 09:15:00", "line 1: \\x must be followed by two hexadecimal digits"},
      {"0,\\q,2026-11-16 09:15:00",
       "line 1: a backslash must be followed by x and two hexadecimal digits, or by \\, n, r or t"},
      {"0,\"1,2026-11-16 09:15:00\n", "line 1: a closing quotation mark is missing"},
      {"0,\"1\"2,2026-11-16 09:15:00\n",
       "line 1: expected a comma after the closing quotation mark"}};
  for (const auto& [csv, error] : kErrors) EXPECT_EQ(CsvError(csv), error);
  const std::string tooLong = "0," + std::string(251, 'x') + ",2026-11-16 09:15:00";
  EXPECT_EQ(CsvError(tooLong), "line 1: the data has 251 bytes, but this model allows at most 250");
  EXPECT_EQ(CsvError(tooLong, Model::kSeries300), "no error");
}

}  // namespace
}  // namespace quillet::simulator
