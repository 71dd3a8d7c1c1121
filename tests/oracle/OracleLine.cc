#include "tests/oracle/OracleLine.h"

#include <cstdio>

namespace quillet::oracle {
namespace {

// Code by code; the older layout's names end where those of the 300 series begin.
const char* const kNames[] = {
    "EAN 13",        // older 0
    "EAN 8",         // 1
    "UPCA",          // 2
    "UPCE",          // 3
    "Code 39",       // 4
    "ITF-14",        // 5
    "Code 128",      // 6
    "I2of5",         // 7
    "CodaBar",       // 8
    "UCC/EAN-128",   // 9
    "Code 93",       // 10
    "Code 35",       // 11
    "Unknown",       // 12
    "Unknown",       // 13
    "Bookland EAN",  // 14
    "Unknown",       // 15
    "Code 32",       // 300 series 0
    "Trioptic",      // 1
    "Korea Post",    // 2
    "Aus. Post",     // 3
    "British Post",  // 4
    "Canada Post",   // 5
    "EAN-8",         // 6
    "UPC-E",         // 7
    "UCC/EAN-128",   // 8
    "Japan Post",    // 9
    "KIX Post",      // 10
    "Planet Code",   // 11
    "OCR",           // 12
    "Postnet",       // 13
    "China Post",    // 14
    "Micro PDF417",  // 15
    "TLC 39",        // 16
    "PosiCode",      // 17
    "Codabar",       // 18
    "Code 39",       // 19
    "UPC-A",         // 20
    "EAN-13",        // 21
    "I2of5",         // 22
    "IATA",          // 23
    "MSI",           // 24
    "Code 11",       // 25
    "Code 93",       // 26
    "Code 128",      // 27
    "Code 49",       // 28
    "Matrix2of5",    // 29
    "Plessey",       // 30
    "Code 16K",      // 31
    "Codablock F",   // 32
    "PDF417",        // 33
    "QR/Micro QR",   // 34
    "Telepen",       // 35
    "VeriCode",      // 36
    "Data Matrix",   // 37
    "MaxiCode",      // 38
    "EAN/UCC",       // 39
    "RSS",           // 40
    "Aztec Code",    // 41
    "No Read",       // 42
    "HanXin Code",   // 43
    "Unknown",       // 44
};
constexpr int kOlderNames = 16;
constexpr int kAllNames = sizeof kNames / sizeof kNames[0];
static_assert(kAllNames == 16 + 45);

std::string NameOf(int code, Layout layout) {
  const int index = layout == Layout::k300Series ? kOlderNames + code : code;
  return index < kAllNames ? kNames[index] : "Unknown";
}

/// The code under which a stored symbology has its name.
int CodeOf(int symbology, Layout layout) {
  const int code = symbology % 64;
  if (layout == Layout::kOlder && code == 20) return 10;
  if (layout == Layout::kOlder && code == 21) return 11;
  return code;
}

std::string DataDelimiter(std::int32_t choice) {
  if (choice == 1) return "\t";
  if (choice == 2) return " ";
  if (choice == 3) return ",";
  if (choice == 4) return ";";
  return "";
}

std::string RecordDelimiter(std::int32_t choice) {
  if (choice == 1) return "\n";
  if (choice == 2) return "\r";
  if (choice == 3) return "\t";
  if (choice == 4) return "\r\n";
  return "";
}

std::string TimeOfScan(const char* format, int date, int time) {
  const int year = 2000 + date / 1024;
  const int month = date / 64 % 16;
  const int day = date / 2 % 32;
  const int hour = time / 4096 + (date % 2 == 1 ? 12 : 0);
  const int minute = time / 64 % 64;
  const int second = time % 64;
  char text[64];
  std::snprintf(text, sizeof text, format, year, month, day, hour, minute, second);
  return text;
}

std::string ShownSerial(const std::string& field) {
  constexpr std::size_t kHidden = 4;
  if (field.size() <= kHidden) return "";
  const std::string rest = field.substr(kHidden);
  return rest.substr(0, rest.find('\0'));
}

}  // namespace

Line LineOfRecord(const Memory& memory, std::int64_t start, Layout layout, const Choices& choices) {
  const bool older = layout == Layout::kOlder;

  // Where each field stands.
  const std::int64_t symbology = start + (older ? 1 : 2);
  const std::int64_t data = symbology + 1;
  const int dataLength = older ? memory.At(start) - 5 : memory.PairAt(start) - 7;
  const std::int64_t date = data + dataLength;  // before the data when the length is too small
  const std::int64_t time = date + 2;

  const int code = CodeOf(memory.At(symbology), layout);

  const std::string delimiter = DataDelimiter(choices.dataDelimiter);
  std::string name, scanned;
  if (choices.typeWanted != 0) name = NameOf(code, layout);
  if (choices.timeWanted != 0) {
    scanned =
        TimeOfScan("[%02d/%02d/%02d:%02d:%02d:%02d]", memory.PairAt(date), memory.PairAt(time));
  }
  // A field that is there has its delimiter on the side of the data.
  const std::string nameFirst = choices.typeWanted != 0 ? name + delimiter : "";
  const std::string nameLast = choices.typeWanted != 0 ? delimiter + name : "";
  const std::string timeFirst = choices.timeWanted != 0 ? scanned + delimiter : "";
  const std::string timeLast = choices.timeWanted != 0 ? delimiter + scanned : "";

  Line line;
  bool ordered = true;
  switch (choices.order) {
    case 0:
      line.front = nameFirst;
      line.back = timeLast;
      break;
    case 1:
      line.front = nameFirst + timeFirst;
      break;
    case 2:
      line.back = nameLast + timeLast;
      break;
    case 3:
      line.back = timeLast + nameLast;
      break;
    case 4:
      line.front = timeFirst + nameFirst;
      break;
    case 5:
      line.front = timeFirst;
      line.back = nameLast;
      break;
    default:
      ordered = false;
  }
  if (ordered) {
    line.loggedCode = code;
    for (int i = 0; i < dataLength && data + i < memory.Size(); ++i) {
      line.data += static_cast<char>(memory.At(data + i));
    }
  }

  if (choices.serialWanted != 0) {
    const std::string serial = ShownSerial(choices.serialField);
    if (choices.serialPosition == 0) line.front = serial + delimiter + line.front;
    if (choices.serialPosition == 1) line.back += delimiter + serial;
  }
  line.back += RecordDelimiter(choices.recordDelimiter);
  return line;
}

SingleFields FieldsAt(const Memory& memory, std::int64_t symbology, Layout layout,
                      const Choices& choices) {
  const std::string delimiter = DataDelimiter(choices.dataDelimiter);
  const int stored = memory.At(symbology);
  SingleFields fields;
  if (choices.typeWanted != 0) {
    fields.text = NameOf(CodeOf(stored, layout), layout) + delimiter;
    fields.loggedCode = stored % 64;
  }
  fields.text += choices.serialField.substr(0, choices.serialField.find('\0'));
  fields.text += delimiter + TimeOfScan("[%d/%d/%d:%d:%d:%d]", memory.PairAt(symbology + 1),
                                        memory.PairAt(symbology + 3));
  fields.end = symbology + 5;
  return fields;
}

namespace {

/// How many bytes the UTF-8 character at the beginning takes; 0 if there is none.
std::size_t CharacterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) return 1;
  std::size_t length = 0;
  std::uint32_t character = 0;
  std::uint32_t smallest = 0;  // what a shorter form could have held is no character
  if (byte(0) / 32 == 6) {
    length = 2, character = byte(0) % 32, smallest = 0x80;
  } else if (byte(0) / 16 == 14) {
    length = 3, character = byte(0) % 16, smallest = 0x800;
  } else if (byte(0) / 8 == 30) {
    length = 4, character = byte(0) % 8, smallest = 0x10000;
  }
  if (length == 0 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (byte(i) / 64 != 2) return 0;
    character = character * 64 + byte(i) % 64;
  }
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  return character < smallest || character > 0x10FFFF || surrogate ? 0 : length;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace

std::string Shown(std::string_view line) {
  if (IsUtf8(line)) return std::string(line);
  std::string shown;
  for (const char character : line) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      shown += character;
    } else {
      shown += static_cast<char>(0xC0 + byte / 64);
      shown += static_cast<char>(0x80 + byte % 64);
    }
  }
  return shown;
}

}  // namespace quillet::oracle
