#include <array>

#include "device/Lumet.h"
#include "download/ReceivedBytes.h"
#include "download/RecordText.h"
#include "download/SymbologyNames.h"

namespace quillet {
namespace {

// The choices of each delimiter, in the order of their numbers. Tab is 1 among data delimiters and
// 3 among record delimiters; stored settings rely on both.
constexpr std::array<std::string_view, 5> kDataDelimiters = {"", "\t", " ", ",", ";"};
constexpr std::array<std::string_view, 5> kRecordDelimiters = {"", "\n", "\r", "\t", "\r\n"};

template <std::size_t Count>
std::string_view Choice(const std::array<std::string_view, Count>& choices, std::int32_t number) {
  const auto index = static_cast<std::uint32_t>(number);
  return index < Count ? choices[index] : std::string_view();
}

enum class Field { kName, kData, kTime };

struct OrderedField {
  Field field;
  bool delimiterBefore = false;  // else behind; the data carries none
};

// The delimiter belongs to the name or time beside the data, so that a field that is switched off
// leaves no delimiter of its own behind.
constexpr bool kBefore = true;
constexpr bool kAfter = false;
constexpr std::array<std::array<OrderedField, 3>, 6> kOrders = {{
    {{{Field::kName, kAfter}, {Field::kData}, {Field::kTime, kBefore}}},
    {{{Field::kName, kAfter}, {Field::kTime, kAfter}, {Field::kData}}},
    {{{Field::kData}, {Field::kName, kBefore}, {Field::kTime, kBefore}}},
    {{{Field::kData}, {Field::kTime, kBefore}, {Field::kName, kBefore}}},
    {{{Field::kTime, kAfter}, {Field::kName, kAfter}, {Field::kData}}},
    {{{Field::kTime, kAfter}, {Field::kData}, {Field::kName, kBefore}}},
}};

}  // namespace

void Lumet::SynchronizeData() {
  ComposeRecord(RxBuffer);
  DecodeRecordText(ComposedLine(), record_);
  if (LumetDelegate* owner = delegate()) owner->DisplayBarcode(record_);
}

void RecordComposer::ComposeRecord(Bytes buffer) {
  BarcodeBufferOffset = 0;
  GetBarcodeLength(buffer);
  if (sn_position == 0) AttachSerialNumberEx(buffer);
  GetDataByOrder(buffer);
  if (sn_position == 1) AttachSerialNumberEx(buffer);
  GetRecordDelimiter(buffer);
  BarcodeBuffer[BarcodeBufferOffset] = 0;
}

void RecordComposer::GetDataByOrder(Bytes buffer) {
  std::int32_t code = ByteAt(buffer, BufferOffset) & kCodeMask;
  BufferOffset += 1;
  if (!bTavo300) code = RemapOlderCode(code);
  const auto order = static_cast<std::uint32_t>(dataorder);
  if (order >= kOrders.size()) return;
  const std::uint16_t date = TwoBytesAt(buffer, BufferOffset + BarcodeLength);
  const std::uint16_t time = TwoBytesAt(buffer, BufferOffset + BarcodeLength + 2);
  for (const OrderedField& ordered : kOrders[order]) {
    switch (ordered.field) {
      case Field::kName:
        GetBarcodeTypeEx(buffer, code, ordered.delimiterBefore);
        break;
      case Field::kData:
        GetBarcodeData(buffer);
        break;
      case Field::kTime:
        AttachTimestampEx(buffer, date, time, ordered.delimiterBefore);
        break;
    }
  }
}

void RecordComposer::GetDataDelimiter() {
  for (const char character : Choice(kDataDelimiters, datadelimiter)) {
    Append(static_cast<std::uint8_t>(character));
  }
}

void RecordComposer::GetRecordDelimiter(Bytes) {
  for (const char character : Choice(kRecordDelimiters, recorddelimiter)) {
    Append(static_cast<std::uint8_t>(character));
  }
}

}  // namespace quillet
