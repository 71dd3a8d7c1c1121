#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "simulator/Bytes.h"
#include "simulator/CalendarTime.h"

namespace quillet::simulator {

/// The two families of scanners. They differ in how a stored record is laid out, in the numbering
/// of the symbologies and in the firmware text.
enum class Model {
  kOlder,      ///< one length byte per record
  kSeries300,  ///< two length bytes per record
};

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
  CalendarTime time;
  /// When present, these bytes are sent in place of the encoded record, whatever they say: that is
  /// how a record with a wrong length field is made.
  std::optional<Bytes> raw;

  bool operator==(const ScanRecord&) const = default;
};

/// A record made of its parts; `symbology` as in ScanRecord, `text` one byte per char.
ScanRecord MakeRecord(std::uint8_t symbology, std::string_view text, const CalendarTime& time);

/// The same slot after its record has been erased: everything stays but the symbology byte.
ScanRecord Erased(ScanRecord record);

/// The most data bytes that a record of this model holds: 250 or 65,528.
std::size_t MaxDataSize(Model model);

/// The record's bytes as the model stores and sends them. Throws std::length_error when the data
/// does not fit.
Bytes Encode(const ScanRecord& record, Model model);

}  // namespace quillet::simulator
