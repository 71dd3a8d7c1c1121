#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/CalendarTime.h"
#include "simulator/Bytes.h"

namespace quillet::simulator {

/// The two families of scanners, with different record layouts and symbology codes.
enum class Model {
  kOlder,      ///< one length byte per record
  kSeries300,  ///< two length bytes per record
};

/// The earliest time that a scanner can store. The last year is 2063, because the year has six
/// bits.
inline constexpr CalendarTime kFirstMoment{2000, 1, 1, 0, 0, 0};

/// Returns true if the time is valid and a scanner can store it.
bool IsValid(const CalendarTime& time);

/// Adds `seconds`, which may be negative, to a valid time. The year wraps from 2063 to 2000.
CalendarTime AddSeconds(const CalendarTime& time, std::int64_t seconds);

/// Parses "YYYY-MM-DD HH:MM:SS". Returns std::nullopt for other text or an invalid time.
std::optional<CalendarTime> ParseCalendarTime(std::string_view text);

/// A record's 16-bit date: year minus 2000 in bits 15-10, month in 9-6, day in 5-1, PM flag in 0.
std::uint16_t PackDate(const CalendarTime& time);

/// A record's 16-bit time: 12-hour hour (0 to 11) in bits 15-12, minute in 11-6, second in 5-0.
std::uint16_t PackTime(const CalendarTime& time);

/// The symbology byte that marks an erased slot.
inline constexpr std::uint8_t kErasedSlot = 0xFF;

/// One stored scan.
struct ScanRecord {
  /// The low six bits are the symbology code. The two high bits have no meaning, except that 0xFF
  /// marks an erased slot.
  std::uint8_t symbology = 0;
  Bytes data;                        ///< at most MaxDataSize() bytes
  CalendarTime time = kFirstMoment;  ///< according to the scanner's clock
  std::optional<Bytes> raw = {};     ///< sent instead of the encoded record, to test wrong lengths

  bool operator==(const ScanRecord&) const = default;
};

/// Creates a record with the bytes of `text` as data.
inline ScanRecord MakeRecord(std::uint8_t symbology, std::string_view text,
                             const CalendarTime& time) {
  return {symbology, ToBytes(text), time};
}

/// Returns a copy of the record that is marked as erased. Only the symbology byte changes.
ScanRecord Erased(ScanRecord record);

/// The maximum number of data bytes in a record: 250 (kOlder) or 65,528 (kSeries300).
std::size_t MaxDataSize(Model model);

/// Encodes a record for this model. Throws std::length_error if the data is too long.
Bytes Encode(const ScanRecord& record, Model model);

}  // namespace quillet::simulator
