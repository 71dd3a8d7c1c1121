#include "simulator/CalendarTime.h"

#include <chrono>
#include <cstdio>

namespace quillet::simulator {
namespace {

constexpr int kFirstYear = 2000;
constexpr int kYears = 64;

std::chrono::year_month_day DateOf(const CalendarTime& time) {
  return std::chrono::year{time.year} / static_cast<int>(time.month) / static_cast<int>(time.day);
}

bool InRange(int value, int low, int high) {
  return value >= low && value <= high;
}

/// The number that `digits` digits from text[at] make, or -1.
int ReadDigits(std::string_view text, std::size_t at, std::size_t digits) {
  int value = 0;
  for (const char digit : text.substr(at, digits)) {
    if (digit < '0' || digit > '9') return -1;
    value = value * 10 + (digit - '0');
  }
  return value;
}

}  // namespace

bool IsValid(const CalendarTime& time) {
  return InRange(time.year, kFirstYear, kFirstYear + kYears - 1) && InRange(time.month, 1, 12) &&
         InRange(time.day, 1, 31) && DateOf(time).ok() && InRange(time.hour, 0, 23) &&
         InRange(time.minute, 0, 59) && InRange(time.second, 0, 59);
}

CalendarTime AddSeconds(const CalendarTime& time, std::int64_t seconds) {
  using namespace std::chrono;
  const sys_seconds before = sys_days{DateOf(time)} + hours{time.hour} + minutes{time.minute} +
                             std::chrono::seconds{time.second};
  const sys_seconds after = before + std::chrono::seconds{seconds};
  const sys_days day = floor<days>(after);
  const year_month_day date{day};
  const hh_mm_ss clock{after - day};

  int year = (static_cast<int>(date.year()) - kFirstYear) % kYears;
  if (year < 0) year += kYears;
  return {kFirstYear + year,
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day())),
          static_cast<int>(clock.hours().count()),
          static_cast<int>(clock.minutes().count()),
          static_cast<int>(clock.seconds().count())};
}

std::string ToText(const CalendarTime& time) {
  char text[96];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text;
}

std::optional<CalendarTime> ParseCalendarTime(std::string_view text) {
  constexpr std::string_view kShape = "0000-00-00 00:00:00";
  if (text.size() != kShape.size()) return std::nullopt;
  for (std::size_t at = 0; at < kShape.size(); ++at) {
    if (kShape[at] != '0' && text[at] != kShape[at]) return std::nullopt;
  }
  const CalendarTime time{ReadDigits(text, 0, 4),  ReadDigits(text, 5, 2),
                          ReadDigits(text, 8, 2),  ReadDigits(text, 11, 2),
                          ReadDigits(text, 14, 2), ReadDigits(text, 17, 2)};
  if (!IsValid(time)) return std::nullopt;
  return time;
}

std::uint16_t PackDate(const CalendarTime& time) {
  const int afternoon = time.hour >= 12 ? 1 : 0;
  return static_cast<std::uint16_t>(((time.year - kFirstYear) & 63) << 10 | (time.month & 15) << 6 |
                                    (time.day & 31) << 1 | afternoon);
}

std::uint16_t PackTime(const CalendarTime& time) {
  const int hour = time.hour >= 12 ? time.hour - 12 : time.hour;
  return static_cast<std::uint16_t>((hour & 15) << 12 | (time.minute & 63) << 6 |
                                    (time.second & 63));
}

}  // namespace quillet::simulator
