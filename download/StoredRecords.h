#pragma once

#include <cstdint>
#include <span>

#include "device/ReceivedBytes.h"

namespace quillet {

/// Returns a stored record's length in bytes, computed from its length field.
/// @param buffer  the received bytes; bytes beyond the end are read as 0
/// @param offset  index of the record in `buffer`
/// @param is300   whether the record has the 300-series layout
inline std::int32_t RecordLength(std::span<const std::uint8_t> buffer, std::int32_t offset,
                                 bool is300) {
  return static_cast<std::int32_t>(is300 ? NumberAt(buffer, offset, 2)
                                         : NumberAt(buffer, offset, 1) + 1);
}

/// Calls `record(offset, step, usable)` for each stored record of a burst. `step` is the record's
/// length in bytes. `usable` is false for an erased record and for a record with an invalid length.
/// An invalid length stops the iteration: a length of 0 would cause an endless loop, and a record
/// that exceeds the buffer is incomplete. All other lengths are accepted.
/// @param buffer  the received bytes; bytes beyond the end are read as 0
/// @param offset  index of the first record
/// @param end     index after the last byte of the burst
/// @param is300   whether the records have the 300-series layout
/// @param record  the function to call
/// @return the index at which the iteration stopped: less than `end` after an invalid length,
///         greater if the last record exceeds `end`
template <class Record>
std::int32_t ForEachBurstRecord(std::span<const std::uint8_t> buffer, std::int32_t offset,
                                std::int32_t end, bool is300, Record&& record) {
  constexpr std::uint32_t kErasedSlot = 0xFF;
  const auto size = static_cast<std::int32_t>(buffer.size());
  while (offset < end) {
    const std::int32_t step = RecordLength(buffer, offset, is300);
    const bool valid = step != 0 && step <= size - offset;
    record(offset, step, valid && NumberAt(buffer, offset + (is300 ? 2 : 1), 1) != kErasedSlot);
    if (!valid) break;
    offset += step;
  }
  return offset;
}

/// Returns the number of usable records of a burst. The parameters are those of ForEachBurstRecord.
inline std::int32_t CountBurstRecords(std::span<const std::uint8_t> buffer, std::int32_t offset,
                                      std::int32_t end, bool is300) {
  std::int32_t count = 0;
  ForEachBurstRecord(buffer, offset, end, is300, [&count](std::int32_t, std::int32_t, bool usable) {
    count += usable ? 1 : 0;
  });
  return count;
}

}  // namespace quillet
