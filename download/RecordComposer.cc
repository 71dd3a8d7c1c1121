#include "download/RecordComposer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "base/Log.h"
#include "base/Utf8.h"
#include "device/ReceivedBytes.h"
#include "download/SymbologyNames.h"

namespace quillet {
namespace {

// The low six bits of a symbology byte are the code.
constexpr std::int32_t kCodeMask = 0x3F;

// Settings files store the indices, so the order must not change.
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
  bool delimiterBefore = false;  // true: before the field; false: after it; unused for kData
};

// The symbology name and the time each have one delimiter, either before or after the field. If the
// field is off, its delimiter is omitted too.
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

// Packed date: year, month, day, PM flag. Packed time: 12-hour hour, minute, second.
struct ScanTime {
  ScanTime(std::uint16_t date, std::uint16_t time)
      : year(((date >> 10) & 63) + 2000),
        month((date >> 6) & 15),
        day((date >> 1) & 31),
        hour(((time >> 12) & 15) + ((date & 1) ? 12 : 0)),
        minute((time >> 6) & 63),
        second(time & 63) {}
  int year, month, day, hour, minute, second;
};

char* PutTwoDigits(char* out, int value) {
  *out++ = static_cast<char>('0' + value / 10);
  *out++ = static_cast<char>('0' + value % 10);
  return out;
}

char* PutNumber(char* out, int value) {
  return std::to_chars(out, out + 4, value).ptr;
}

// Writes "[year/month/day:hour:minute:second]" and returns its length. `put` writes the month,
// day, hour, minute and second.
template <class Put>
std::size_t FormatScanTime(char* text, const ScanTime& scan, Put put) {
  char* out = text;
  *out++ = '[';
  out = PutNumber(out, scan.year);
  *out++ = '/';
  out = put(out, scan.month);
  *out++ = '/';
  out = put(out, scan.day);
  *out++ = ':';
  out = put(out, scan.hour);
  *out++ = ':';
  out = put(out, scan.minute);
  *out++ = ':';
  out = put(out, scan.second);
  *out++ = ']';
  return static_cast<std::size_t>(out - text);
}

constexpr std::size_t kScanTimeSize = 32;

std::uint16_t TwoBytesAt(RecordComposer::Bytes buffer, std::int32_t index) {
  return static_cast<std::uint16_t>(NumberAt(buffer, index, 2));
}

}  // namespace

bool RecordComposer::IncludesData(std::int32_t dataorder) {
  return static_cast<std::uint32_t>(dataorder) < kOrders.size();
}

std::string_view RecordComposer::Compose(Bytes buffer, std::int32_t offset) {
  BufferOffset = offset;
  BarcodeBufferOffset = 0;
  GetBarcodeLength(buffer);
  if (settings_.sn_position == 0) AttachSerialNumberEx(buffer);
  GetDataByOrder(buffer);
  if (settings_.sn_position == 1) AttachSerialNumberEx(buffer);
  GetRecordDelimiter(buffer);
  barcodeBuffer_[BarcodeBufferOffset] = 0;
  return BarcodeBuffer();
}

// The last byte of the buffer is reserved for the NUL.
void RecordComposer::Append(std::string_view text) {
  const auto room = static_cast<std::size_t>(kBarcodeBufferSize - 1 - BarcodeBufferOffset);
  BarcodeBufferOffset +=
      static_cast<std::int32_t>(text.copy(barcodeBuffer_ + BarcodeBufferOffset, room));
}

void RecordComposer::GetDataByOrder(Bytes buffer) {
  std::int32_t code = ByteAt(buffer, BufferOffset) & kCodeMask;
  BufferOffset += 1;
  if (!identity_.bTavo300) code = RemapOlderCode(code);
  const std::int32_t dataorder = settings_.dataorder;
  if (!IncludesData(dataorder)) return;
  const std::uint16_t date = TwoBytesAt(buffer, BufferOffset + BarcodeLength);
  const std::uint16_t time = TwoBytesAt(buffer, BufferOffset + BarcodeLength + 2);
  for (const OrderedField& ordered : kOrders[static_cast<std::size_t>(dataorder)]) {
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

// A loop is faster than memcpy here, since delimiters have at most two bytes.
void RecordComposer::AppendDelimiter(std::string_view delimiter) {
  for (const char byte : delimiter) {
    if (BarcodeBufferOffset < kBarcodeBufferSize - 1) barcodeBuffer_[BarcodeBufferOffset++] = byte;
  }
}

void RecordComposer::GetDataDelimiter() {
  AppendDelimiter(Choice(kDataDelimiters, settings_.datadelimiter));
}

void RecordComposer::GetRecordDelimiter(Bytes) {
  AppendDelimiter(Choice(kRecordDelimiters, settings_.recorddelimiter));
}

void RecordComposer::GetBarcodeLength(Bytes buffer) {
  if (identity_.bTavo300) {
    BarcodeLength = TwoBytesAt(buffer, BufferOffset) - 7;
    BufferOffset += 2;
  } else {
    BarcodeLength = ByteAt(buffer, BufferOffset) - 5;
    BufferOffset += 1;
  }
}

void RecordComposer::GetBarcodeData(Bytes buffer) {
  if (BarcodeLength <= 0) return;
  const auto size = static_cast<std::int32_t>(buffer.size());
  const std::int32_t held = std::clamp(size - BufferOffset, 0, BarcodeLength);
  if (held > 0) {
    Append({reinterpret_cast<const char*>(buffer.data()) + BufferOffset,
            static_cast<std::size_t>(held)});
  }
  BufferOffset += BarcodeLength;
}

void RecordComposer::GetBarcodeTypeEx(Bytes, std::int32_t code, bool before) {
  Log(log_, "-[Lumet GetBarcodeTypeEx:::]", ":", Hex{static_cast<std::uint32_t>(code)});
  if (!settings_.bAttachType) return;
  if (before) GetDataDelimiter();
  Append(SymbologyName(code, identity_.bTavo300));
  if (!before) GetDataDelimiter();
}

void RecordComposer::AttachSerialNumberEx(Bytes) {
  if (!settings_.bAttachSerial) return;
  if (settings_.sn_position == 1) GetDataDelimiter();
  Append(identity_.SerialNo.TextFrom(kHiddenSerialCharacters));
  if (settings_.sn_position == 0) GetDataDelimiter();
}

void RecordComposer::AttachTimestampEx(Bytes, std::uint16_t date, std::uint16_t time, bool before) {
  if (!settings_.bAttachTimestamp) return;
  if (before) GetDataDelimiter();
  char text[kScanTimeSize];
  Append({text, FormatScanTime(text, ScanTime(date, time), PutTwoDigits)});
  if (!before) GetDataDelimiter();
}

void RecordComposer::GetBarcodeType(Bytes buffer) {
  const std::uint8_t symbology = ByteAt(buffer, BufferOffset);
  BufferOffset += 1;
  if (!settings_.bAttachType) return;
  std::int32_t code = symbology & kCodeMask;
  Log(log_, "-[Lumet GetBarcodeType:]", BufferOffset, ":", Hex{static_cast<std::uint32_t>(code)});
  if (!identity_.bTavo300) code = RemapOlderCode(code);
  Append(SymbologyName(code, identity_.bTavo300));
  GetDataDelimiter();
}

void RecordComposer::AttachSerialNumber(Bytes) {
  Append(identity_.SerialNo.TextFrom(0));
}

void RecordComposer::AttachTimestamp(Bytes buffer) {
  GetDataDelimiter();
  const std::uint16_t date = TwoBytesAt(buffer, BufferOffset);
  const std::uint16_t time = TwoBytesAt(buffer, BufferOffset + 2);
  char text[kScanTimeSize];
  Append({text, FormatScanTime(text, ScanTime(date, time), PutNumber)});
  BufferOffset += 4;
}

void DecodeRecordText(std::string_view bytes, std::string& text) {
  if (IsAscii(bytes) || IsValidUtf8(bytes)) {
    text.assign(bytes);
    return;
  }
  text.clear();
  // The Latin-1 codes equal the first 256 Unicode code points.
  for (const char byte : bytes) AppendUtf8(text, static_cast<std::uint8_t>(byte));
}

}  // namespace quillet
