#include <gtest/gtest.h>

#include "base/CalendarTime.h"

namespace quillet {
namespace {

TEST(CalendarTimeTest, PadsNumbersWithZeros) {
  const CalendarTime time{.year = 987, .month = 6, .day = 5, .hour = 4, .minute = 3, .second = 2};
  EXPECT_EQ(DateStamp(time), "09870605");
  EXPECT_EQ(TimeStamp(time), "09870605_040302");
  EXPECT_EQ(DateAndTime(time), "0987-06-05 04:03:02");
}

}  // namespace
}  // namespace quillet
