#include "simulator/ScanRecord.h"

#include <stdexcept>
#include <utility>

namespace quillet::simulator {
namespace {

/// Bytes of a record that are counted by its length field and are not data. The older length field
/// does not count itself, the newer one does.
constexpr std::size_t kOlderFixedSize = 1 + 4;
constexpr std::size_t kSeries300FixedSize = 2 + 1 + 4;

constexpr std::size_t kOlderMaxLength = 0xFF;
constexpr std::size_t kSeries300MaxLength = 0xFFFF;

}  // namespace

ScanRecord MakeRecord(std::uint8_t symbology, std::string_view text, const CalendarTime& time) {
  return {symbology, ToBytes(text), time, std::nullopt};
}

ScanRecord Erased(ScanRecord record) {
  record.symbology = kErasedSlot;
  return record;
}

std::size_t MaxDataSize(Model model) {
  return model == Model::kOlder ? kOlderMaxLength - kOlderFixedSize
                                : kSeries300MaxLength - kSeries300FixedSize;
}

Bytes Encode(const ScanRecord& record, Model model) {
  if (record.raw) return *record.raw;
  if (record.data.size() > MaxDataSize(model)) {
    throw std::length_error("a record of this model holds at most " +
                            std::to_string(MaxDataSize(model)) + " bytes of data, not " +
                            std::to_string(record.data.size()));
  }
  Bytes bytes;
  if (model == Model::kOlder) {
    AppendBigEndian(bytes, static_cast<std::uint32_t>(record.data.size() + kOlderFixedSize), 1);
  } else {
    AppendBigEndian(bytes, static_cast<std::uint32_t>(record.data.size() + kSeries300FixedSize), 2);
  }
  bytes.push_back(record.symbology);
  Append(bytes, record.data);
  AppendBigEndian(bytes, PackDate(record.time), 2);
  AppendBigEndian(bytes, PackTime(record.time), 2);
  return bytes;
}

}  // namespace quillet::simulator
