#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace quillet {

/// A date and a time of day, without a time zone.
struct CalendarTime {
  std::int32_t year = 1970;  ///< full year, for example 2026
  std::int32_t month = 1;    ///< 1 to 12
  std::int32_t day = 1;      ///< 1 to 31
  std::int32_t hour = 0;     ///< 0 to 23
  std::int32_t minute = 0;   ///< 0 to 59
  std::int32_t second = 0;   ///< 0 to 59 (60 in a leap second)

  auto operator<=>(const CalendarTime&) const = default;
};

/// Returns the date for a file name: year, month and day without separators, for example
/// "20260314".
std::string DateStamp(const CalendarTime& time);

/// Returns the date and the time for a file name, for example "20260314_150926".
std::string TimeStamp(const CalendarTime& time);

/// Returns the date and the time for display, for example "2026-03-14 15:09:26".
std::string DateAndTime(const CalendarTime& time);

}  // namespace quillet
