#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {
namespace {

constexpr CalendarTime kTime{2012, 5, 3, 16, 4, 9};

TEST(CalendarTime, PacksYearMonthDayAndPmFlag) {
  EXPECT_EQ(PackDate({2012, 5, 3, 16, 4, 9}), 0x3147);
  EXPECT_EQ(PackDate({2000, 1, 1, 11, 59, 59}) & 1, 0);
  EXPECT_EQ(PackDate({2000, 1, 1, 12, 0, 0}) & 1, 1);
  EXPECT_EQ(PackDate({2063, 12, 31, 23, 59, 59}), 63 << 10 | 12 << 6 | 31 << 1 | 1);
}

TEST(CalendarTime, PacksTimesInTwelveHourFormat) {
  EXPECT_EQ(PackTime({2012, 5, 3, 16, 4, 9}), 0x4109);
  for (const auto& [hour, packed] : {std::pair(0, 0), {11, 11}, {12, 0}, {23, 11}}) {
    EXPECT_EQ(PackTime({2000, 1, 1, hour, 0, 0}) >> 12, packed) << hour;
  }
}

TEST(CalendarTime, IsValidForRealDatesFrom2000To2063) {
  EXPECT_TRUE(IsValid({2024, 2, 29, 23, 59, 59}));
  for (const CalendarTime& time : {CalendarTime{2023, 2, 29, 0, 0, 0},
                                   {1999, 12, 31, 0, 0, 0},
                                   {2064, 1, 1, 0, 0, 0},
                                   {2024, 0, 1, 0, 0, 0},
                                   {2024, 13, 1, 0, 0, 0},
                                   {2024, 1, 0, 0, 0, 0},
                                   {2024, 1, 1, 24, 0, 0},
                                   {2024, 1, 1, 0, 60, 0},
                                   {2024, 1, 1, 0, 0, 60}}) {
    EXPECT_FALSE(IsValid(time)) << time.year << '-' << time.month << '-' << time.day;
  }
}

TEST(CalendarTime, CarriesSecondsIntoDaysMonthsAndYears) {
  EXPECT_EQ(AddSeconds({2024, 2, 28, 23, 59, 59}, 1), (CalendarTime{2024, 2, 29, 0, 0, 0}));
  EXPECT_EQ(AddSeconds({2024, 2, 29, 23, 59, 59}, 1), (CalendarTime{2024, 3, 1, 0, 0, 0}));
  EXPECT_EQ(AddSeconds({2024, 1, 1, 0, 0, 0}, -1), (CalendarTime{2023, 12, 31, 23, 59, 59}));
  // The scanner stores the year in six bits, so 2063 is followed by 2000.
  EXPECT_EQ(AddSeconds({2063, 12, 31, 23, 59, 59}, 1), (CalendarTime{2000, 1, 1, 0, 0, 0}));
  EXPECT_EQ(AddSeconds({2000, 1, 1, 0, 0, 0}, -1), (CalendarTime{2063, 12, 31, 23, 59, 59}));
}

TEST(CalendarTime, ParsesOnlyOneTextFormat) {
  EXPECT_EQ(ParseCalendarTime("2026-11-16 01:04:09"), (CalendarTime{2026, 11, 16, 1, 4, 9}));
  for (const char* text : {"", "2026-11-16", "2026-11-16T01:04:09", "2026-11-16 01:04:9 ",
                           "2026-11-16 01:04:091", "20x6-11-16 01:04:09", "2026-02-30 00:00:00"}) {
    EXPECT_EQ(ParseCalendarTime(text), std::nullopt) << text;
  }
}

TEST(ScanRecord, EncodingDependsOnTheScannerModel) {
  // A one-byte length does not include itself. A two-byte length does.
  EXPECT_EQ(Encode(MakeRecord(6, "ABCD", kTime), Model::kOlder),
            (Bytes{0x09, 0x06, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09}));
  EXPECT_EQ(Encode(MakeRecord(0x22, "ABCD", kTime), Model::kSeries300),
            (Bytes{0x00, 0x0B, 0x22, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09}));
  EXPECT_EQ(Encode(MakeRecord(1, "", kTime), Model::kOlder).size(), 6U);
  EXPECT_EQ(Encode(MakeRecord(1, "", kTime), Model::kSeries300).size(), 7U);
}

TEST(ScanRecord, RejectsDataThatExceedsTheLengthField) {
  EXPECT_EQ(Encode({1, Bytes(250), kTime}, Model::kOlder).front(), 0xFF);
  EXPECT_THROW(Encode({1, Bytes(251), kTime}, Model::kOlder), std::length_error);
  const Bytes bytes = Encode({1, Bytes(65528), kTime}, Model::kSeries300);
  EXPECT_EQ(bytes.size(), 65535U);
  EXPECT_EQ(bytes[0], 0xFF);
  EXPECT_EQ(bytes[1], 0xFF);
  EXPECT_THROW(Encode({1, Bytes(65529), kTime}, Model::kSeries300), std::length_error);
}

TEST(ScanRecord, EncodesErasedSlotsAndRawBytes) {
  ScanRecord record = MakeRecord(6, "ABCD", kTime);
  Bytes bytes = Encode(record, Model::kOlder);
  bytes[1] = 0xFF;
  EXPECT_EQ(Encode(Erased(record), Model::kOlder), bytes);
  record.raw = Bytes{0x00, 0x01};
  EXPECT_EQ(Encode(record, Model::kOlder), (Bytes{0x00, 0x01}));
}

}  // namespace
}  // namespace quillet::simulator
