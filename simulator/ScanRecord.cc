#include "simulator/ScanRecord.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>

namespace quillet::simulator {
namespace {

constexpr int kYears = 64;

/// The bytes that the length field counts in addition to the data: symbology and time, and in the
/// 300 series also the length field.
constexpr std::size_t kOlderFixedSize = 1 + 4;
constexpr std::size_t kSeries300FixedSize = 2 + 1 + 4;

std::chrono::year_month_day DateOf(const CalendarTime& time) {
  return std::chrono::year{time.year} / int{time.month} / int{time.day};
}

bool InRange(int value, int low, int high) {
  return value >= low && value <= high;
}

}  // namespace

bool IsValid(const CalendarTime& time) {
  return InRange(time.year, kFirstMoment.year, kFirstMoment.year + kYears - 1) &&
         InRange(time.month, 1, 12) && InRange(time.day, 1, 31) && DateOf(time).ok() &&
         InRange(time.hour, 0, 23) && InRange(time.minute, 0, 59) && InRange(time.second, 0, 59);
}

CalendarTime AddSeconds(const CalendarTime& time, std::int64_t seconds) {
  using namespace std::chrono;
  const sys_seconds before = sys_days{DateOf(time)} + hours{time.hour} + minutes{time.minute} +
                             std::chrono::seconds{time.second};
  const sys_seconds after = before + std::chrono::seconds{seconds};
  const sys_days day = floor<days>(after);
  const year_month_day date{day};
  const hh_mm_ss clock{after - day};
  const int years = (int{date.year()} - kFirstMoment.year) % kYears;
  return {kFirstMoment.year + (years + kYears) % kYears, static_cast<int>(unsigned{date.month()}),
          static_cast<int>(unsigned{date.day()}),        static_cast<int>(clock.hours().count()),
          static_cast<int>(clock.minutes().count()),     static_cast<int>(clock.seconds().count())};
}

std::optional<CalendarTime> ParseCalendarTime(std::string_view text) {
  constexpr std::string_view kShape = "0000-00-00 00:00:00";
  if (text.size() != kShape.size()) return std::nullopt;
  std::array<int, 6> fields = {};
  std::size_t field = 0;
  for (std::size_t at = 0; at < kShape.size(); ++at) {
    if (kShape[at] == '0') {
      if (text[at] < '0' || text[at] > '9') return std::nullopt;
      fields[field] = fields[field] * 10 + (text[at] - '0');
    } else {
      if (text[at] != kShape[at]) return std::nullopt;
      field += 1;
    }
  }
  const CalendarTime time{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
  return IsValid(time) ? std::optional(time) : std::nullopt;
}

std::uint16_t PackDate(const CalendarTime& time) {
  const int afternoon = time.hour >= 12 ? 1 : 0;
  return static_cast<std::uint16_t>(((time.year - kFirstMoment.year) & 63) << 10 |
                                    (time.month & 15) << 6 | (time.day & 31) << 1 | afternoon);
}

std::uint16_t PackTime(const CalendarTime& time) {
  return static_cast<std::uint16_t>((time.hour % 12) << 12 | (time.minute & 63) << 6 |
                                    (time.second & 63));
}

ScanRecord Erased(ScanRecord record) {
  record.symbology = kErasedSlot;
  return record;
}

std::size_t MaxDataSize(Model model) {
  return model == Model::kOlder ? 0xFF - kOlderFixedSize : 0xFFFF - kSeries300FixedSize;
}

Bytes Encode(const ScanRecord& record, Model model) {
  if (record.raw) return *record.raw;
  if (record.data.size() > MaxDataSize(model)) {
    throw std::length_error("the data has " + std::to_string(record.data.size()) +
                            " bytes, but this model allows at most " +
                            std::to_string(MaxDataSize(model)));
  }
  Bytes bytes;
  if (model == Model::kOlder) {
    AppendBigEndian(bytes, record.data.size() + kOlderFixedSize, 1);
  } else {
    AppendBigEndian(bytes, record.data.size() + kSeries300FixedSize, 2);
  }
  bytes.push_back(record.symbology);
  Append(bytes, record.data);
  AppendBigEndian(bytes, PackDate(record.time), 2);
  AppendBigEndian(bytes, PackTime(record.time), 2);
  return bytes;
}

}  // namespace quillet::simulator
