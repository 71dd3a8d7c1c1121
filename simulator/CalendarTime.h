#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillet::simulator {

/// A date and time of day as the scanner's own clock shows it, without a time zone.
struct CalendarTime {
  int year = 2000;  ///< 2000 to 2063: the scanner keeps six bits
  int month = 1;    ///< 1 to 12
  int day = 1;      ///< 1 to 31
  int hour = 0;     ///< 0 to 23
  int minute = 0;   ///< 0 to 59
  int second = 0;   ///< 0 to 59

  auto operator<=>(const CalendarTime&) const = default;
};

/// True for a moment that exists in the calendar and that the scanner can hold.
bool IsValid(const CalendarTime& time);

/// `time` (valid) moved by `seconds`, which may be negative. Past the end of 2063 the year starts
/// again at 2000, and before 2000 at 2063, as six bits do.
CalendarTime AddSeconds(const CalendarTime& time, std::int64_t seconds);

/// "2026-11-16 01:04:09".
std::string ToText(const CalendarTime& time);

/// Reads exactly "YYYY-MM-DD HH:MM:SS"; nothing for any other text and for a moment that is not
/// valid.
std::optional<CalendarTime> ParseCalendarTime(std::string_view text);

/// The 16 bits in which a record holds its date: year minus 2000 in bits 15-10, month in 9-6, day
/// in 5-1, bit 0 set from noon on. Fields outside their range lose the bits that do not fit.
std::uint16_t PackDate(const CalendarTime& time);

/// The 16 bits in which a record holds its time: hour on a clock of twelve hours (0 to 11) in bits
/// 15-12, minute in 11-6, second in 5-0.
std::uint16_t PackTime(const CalendarTime& time);

}  // namespace quillet::simulator
