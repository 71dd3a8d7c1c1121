#include <gtest/gtest.h>

#include "simulator/CalendarTime.h"

namespace quillet::simulator {
namespace {

TEST(CalendarTime, PacksYearMonthDayAndTheAfternoonIntoSixteenBits) {
  EXPECT_EQ(PackDate({2012, 5, 3, 16, 4, 9}), 0x3147);
  EXPECT_EQ(PackTime({2012, 5, 3, 16, 4, 9}), 0x4109);
}

TEST(CalendarTime, NoonIsHourZeroOfTheAfternoonAndMidnightOfTheMorning) {
  EXPECT_EQ(PackDate({2000, 1, 1, 12, 0, 0}) & 1, 1);
  EXPECT_EQ(PackTime({2000, 1, 1, 12, 0, 0}) >> 12, 0);
  EXPECT_EQ(PackDate({2000, 1, 1, 0, 0, 0}) & 1, 0);
  EXPECT_EQ(PackTime({2000, 1, 1, 0, 0, 0}) >> 12, 0);
  EXPECT_EQ(PackTime({2000, 1, 1, 23, 0, 0}) >> 12, 11);
}

TEST(CalendarTime, TheLastYearFillsItsSixBits) {
  EXPECT_EQ(PackDate({2063, 12, 31, 23, 59, 59}), 63 << 10 | 12 << 6 | 31 << 1 | 1);
}

TEST(CalendarTime, KnowsWhichMomentsExist) {
  EXPECT_TRUE(IsValid({2024, 2, 29, 23, 59, 59}));
  EXPECT_FALSE(IsValid({2023, 2, 29, 0, 0, 0}));
  EXPECT_FALSE(IsValid({1999, 12, 31, 0, 0, 0}));
  EXPECT_FALSE(IsValid({2064, 1, 1, 0, 0, 0}));
  EXPECT_FALSE(IsValid({2024, 0, 1, 0, 0, 0}));
  EXPECT_FALSE(IsValid({2024, 13, 1, 0, 0, 0}));
  EXPECT_FALSE(IsValid({2024, 1, 1, 24, 0, 0}));
  EXPECT_FALSE(IsValid({2024, 1, 1, 0, 60, 0}));
  EXPECT_FALSE(IsValid({2024, 1, 1, 0, 0, 60}));
}

TEST(CalendarTime, AddingSecondsCarriesIntoMonthsAndLeapDays) {
  EXPECT_EQ(AddSeconds({2024, 2, 28, 23, 59, 59}, 1), (CalendarTime{2024, 2, 29, 0, 0, 0}));
  EXPECT_EQ(AddSeconds({2024, 2, 29, 23, 59, 59}, 1), (CalendarTime{2024, 3, 1, 0, 0, 0}));
  EXPECT_EQ(AddSeconds({2024, 1, 1, 0, 0, 0}, -1), (CalendarTime{2023, 12, 31, 23, 59, 59}));
}

TEST(CalendarTime, TheYearWrapsAsSixBitsDo) {
  EXPECT_EQ(AddSeconds({2063, 12, 31, 23, 59, 59}, 1), (CalendarTime{2000, 1, 1, 0, 0, 0}));
  EXPECT_EQ(AddSeconds({2000, 1, 1, 0, 0, 0}, -1), (CalendarTime{2063, 12, 31, 23, 59, 59}));
}

TEST(CalendarTime, TextAndMomentAreEachOthersInverse) {
  const CalendarTime time{2026, 11, 16, 1, 4, 9};
  EXPECT_EQ(ToText(time), "2026-11-16 01:04:09");
  EXPECT_EQ(ParseCalendarTime("2026-11-16 01:04:09"), time);
}

TEST(CalendarTime, RefusesTextsOfAnotherShape) {
  for (const char* text : {"", "2026-11-16", "2026-11-16T01:04:09", "2026-11-16 01:04:9 ",
                           "2026-11-16 01:04:091", "20x6-11-16 01:04:09", "2026-02-30 00:00:00"}) {
    EXPECT_EQ(ParseCalendarTime(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace quillet::simulator
