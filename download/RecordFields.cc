#include <algorithm>
#include <charconv>
#include <cstring>

#include "base/Log.h"
#include "device/Lumet.h"
#include "download/ReceivedBytes.h"
#include "download/SymbologyNames.h"

namespace quillet {
namespace {

// What GetBarcodeData leaves free in BarcodeBuffer: enough for every other field with its
// delimiters, the record delimiter and the NUL. Only the data of a record can be so long as not to
// fit (a line of 10,240 bytes holds the largest symbol that exists); it is cut, the rest stands.
constexpr std::int32_t kRoomForOtherFields = 128;

// A scan's moment as the record packs it into a date and a time.
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

// "[year/month/day:hour:minute:second]"; every number but the year is written by `put`.
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

}  // namespace

// Appends one byte to the line; the last place is kept for the NUL.
void RecordComposer::Append(std::uint8_t byte) {
  if (BarcodeBufferOffset < kBarcodeBufferSize - 1) BarcodeBuffer[BarcodeBufferOffset++] = byte;
}

// Appends a text and a NUL, which the next append overwrites.
void RecordComposer::AppendText(std::string_view text) {
  const auto room = static_cast<std::size_t>(kBarcodeBufferSize - 1 - BarcodeBufferOffset);
  const std::size_t count = std::min(text.size(), room);
  std::memcpy(BarcodeBuffer + BarcodeBufferOffset, text.data(), count);
  BarcodeBufferOffset += static_cast<std::int32_t>(count);
  BarcodeBuffer[BarcodeBufferOffset] = 0;
}

std::uint32_t Lumet::MakeInteger(std::int32_t start, std::int32_t count) const {
  std::uint32_t value = 0;
  for (std::int32_t i = 0; i < count; ++i) value = value << 8 | ByteAt(RxBuffer, start + i);
  return value;
}

std::uint32_t Lumet::MakeOneNumber(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
         static_cast<std::uint32_t>(p[2]) << 8 | static_cast<std::uint32_t>(p[3]);
}

void RecordComposer::GetBarcodeLength(Bytes buffer) {
  if (bTavo300) {
    BarcodeLength = TwoBytesAt(buffer, BufferOffset) - 7;
    BufferOffset += 2;
  } else {
    BarcodeLength = ByteAt(buffer, BufferOffset) - 5;
    BufferOffset += 1;
  }
}

void RecordComposer::GetBarcodeData(Bytes buffer) {
  if (BarcodeLength <= 0) return;
  const std::int32_t room = kBarcodeBufferSize - kRoomForOtherFields - BarcodeBufferOffset;
  const std::int32_t held = static_cast<std::int32_t>(buffer.size()) - BufferOffset;
  const std::int32_t count = std::max(0, std::min({BarcodeLength, room, held}));
  if (count > 0) {
    std::memcpy(BarcodeBuffer + BarcodeBufferOffset, buffer.data() + BufferOffset,
                static_cast<std::size_t>(count));
    BarcodeBufferOffset += count;
  }
  BufferOffset += BarcodeLength;
}

void RecordComposer::GetBarcodeTypeEx(Bytes, std::int32_t code, bool before) {
  Log(log_, "-[Lumet GetBarcodeTypeEx:::]", ":", Hex{static_cast<std::uint32_t>(code)});
  if (!bAttachType) return;
  if (before) GetDataDelimiter();
  AppendText(SymbologyName(code, bTavo300));
  if (!before) GetDataDelimiter();
}

void RecordComposer::AttachSerialNumberEx(Bytes) {
  if (!bAttachSerial) return;
  if (sn_position == 1) GetDataDelimiter();
  AppendText(SerialNo.TextFrom(kHiddenSerialCharacters));
  if (sn_position == 0) GetDataDelimiter();
}

void RecordComposer::AttachTimestampEx(Bytes, std::uint16_t date, std::uint16_t time, bool before) {
  if (!bAttachTimestamp) return;
  if (before) GetDataDelimiter();
  char text[kScanTimeSize];
  AppendText({text, FormatScanTime(text, ScanTime(date, time), PutTwoDigits)});
  if (!before) GetDataDelimiter();
}

void RecordComposer::GetBarcodeType(Bytes buffer) {
  const std::uint8_t symbology = ByteAt(buffer, BufferOffset);
  BufferOffset += 1;
  if (!bAttachType) return;
  std::int32_t code = symbology & kCodeMask;
  Log(log_, "-[Lumet GetBarcodeType:]", BufferOffset, ":", Hex{static_cast<std::uint32_t>(code)});
  if (!bTavo300) code = RemapOlderCode(code);
  AppendText(SymbologyName(code, bTavo300));
  GetDataDelimiter();
}

void RecordComposer::AttachSerialNumber(Bytes) {
  AppendText(SerialNo.TextFrom(0));
}

void RecordComposer::AttachTimestamp(Bytes buffer) {
  GetDataDelimiter();
  const std::uint16_t date = TwoBytesAt(buffer, BufferOffset);
  const std::uint16_t time = TwoBytesAt(buffer, BufferOffset + 2);
  char text[kScanTimeSize];
  AppendText({text, FormatScanTime(text, ScanTime(date, time), PutNumber)});
  BufferOffset += 4;
}

void Lumet::TruncateSerialNumber(std::int32_t length) {
  // An answer that fills the field, or overfills it, still leaves its last byte for the NUL.
  const auto limit = static_cast<std::size_t>(
      std::clamp<std::int32_t>(length, 0, static_cast<std::int32_t>(SerialNo.size()) - 1));
  std::size_t index = 0;
  while (index < limit && SerialNo[index] != '@') ++index;
  SerialNo.Put(index, 0);
}

}  // namespace quillet
