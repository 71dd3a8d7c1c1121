#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/CalendarTime.h"
#include "simulator/Bytes.h"

namespace quillet::simulator {

/// The two families of scanners. They differ in how a stored record is laid out, in the numbering
/// of the symbologies and in the firmware text.
enum class Model {
  kOlder,      ///< one length byte per record
  kSeries300,  ///< two length bytes per record
};

/// The first moment that a scanner can hold. Its years end with 2063: it keeps six bits.
inline constexpr CalendarTime kFirstMoment{2000, 1, 1, 0, 0, 0};

/// Whether the moment exists in the calendar and a scanner can hold it.
bool IsValid(const CalendarTime& time);

/// `time` (valid) moved by `seconds`, which may be negative. The year wraps from 2063 to 2000 and
/// back, as six bits do.
CalendarTime AddSeconds(const CalendarTime& time, std::int64_t seconds);

/// Reads exactly "YYYY-MM-DD HH:MM:SS"; nothing for any other text or an invalid moment.
std::optional<CalendarTime> ParseCalendarTime(std::string_view text);

/// A record's 16-bit date: year minus 2000 in bits 15-10, month in 9-6, day in 5-1, PM flag in 0.
std::uint16_t PackDate(const CalendarTime& time);

/// A record's 16-bit time: 12-hour hour (0 to 11) in bits 15-12, minute in 11-6, second in 5-0.
std::uint16_t PackTime(const CalendarTime& time);

/// The symbology byte that marks an erased slot.
inline constexpr std::uint8_t kErasedSlot = 0xFF;

/// One scan as the scanner stores it.
struct ScanRecord {
  /// The whole symbology byte. Its low six bits are the symbology's code; the two high ones mean
  /// nothing, except that 0xFF marks an erased slot.
  std::uint8_t symbology = 0;
  /// The barcode's data, at most MaxDataSize() bytes of any value.
  Bytes data;
  /// When it was scanned, by the scanner's clock.
  CalendarTime time = kFirstMoment;
  /// If present, sent in place of the encoded record: for records with a wrong length field.
  std::optional<Bytes> raw = {};

  bool operator==(const ScanRecord&) const = default;
};

/// A record with the bytes of `text` as its data.
ScanRecord MakeRecord(std::uint8_t symbology, std::string_view text, const CalendarTime& time);

/// The same slot after its record has been erased: only the symbology byte changes.
ScanRecord Erased(ScanRecord record);

/// The most data bytes that a record of this model holds: 250 or 65,528.
std::size_t MaxDataSize(Model model);

/// The record's bytes as the model stores and sends them. Throws std::length_error when the data
/// does not fit.
Bytes Encode(const ScanRecord& record, Model model);

}  // namespace quillet::simulator
