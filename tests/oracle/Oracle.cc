#include "tests/oracle/Oracle.h"

#include <iconv.h>

#include <cstdio>
#include <stdexcept>

namespace quillet::oracle {
namespace {

// Symbology names, indexed by code: the 16 of the older layout, then those of the 300 series.
const char* const kNames[] = {
    "EAN 13",      "EAN 8",        "UPCA",         "UPCE",        "Code 39",  "ITF-14",
    "Code 128",    "I2of5",        "CodaBar",      "UCC/EAN-128", "Code 93",  "Code 35",
    "Unknown",     "Unknown",      "Bookland EAN", "Unknown",     "Code 32",  "Trioptic",
    "Korea Post",  "Aus. Post",    "British Post", "Canada Post", "EAN-8",    "UPC-E",
    "UCC/EAN-128", "Japan Post",   "KIX Post",     "Planet Code", "OCR",      "Postnet",
    "China Post",  "Micro PDF417", "TLC 39",       "PosiCode",    "Codabar",  "Code 39",
    "UPC-A",       "EAN-13",       "I2of5",        "IATA",        "MSI",      "Code 11",
    "Code 93",     "Code 128",     "Code 49",      "Matrix2of5",  "Plessey",  "Code 16K",
    "Codablock F", "PDF417",       "QR/Micro QR",  "Telepen",     "VeriCode", "Data Matrix",
    "MaxiCode",    "EAN/UCC",      "RSS",          "Aztec Code",  "No Read",  "HanXin Code",
    "Unknown",
};
constexpr int kOlderNames = 16;
constexpr int kAllNames = sizeof kNames / sizeof kNames[0];
static_assert(kAllNames == 16 + 45);

std::string NameOf(int code, Layout layout) {
  const int index = layout == Layout::k300Series ? kOlderNames + code : code;
  return index < kAllNames ? kNames[index] : "Unknown";
}

/// Returns the code of a stored symbology. Several stored values have the same code.
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

std::string TimeOfScan(int date, int time) {
  const int year = 2000 + date / 1024;
  const int month = date / 64 % 16;
  const int day = date / 2 % 32;
  const int hour = time / 4096 + (date % 2 == 1 ? 12 : 0);
  const int minute = time / 64 % 64;
  const int second = time % 64;
  char text[64];
  std::snprintf(text, sizeof text, "[%02d/%02d/%02d:%02d:%02d:%02d]", year, month, day, hour,
                minute, second);
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

  const std::int64_t symbology = start + (older ? 1 : 2);
  const std::int64_t data = symbology + 1;
  const int dataLength = older ? memory.At(start) - 5 : memory.PairAt(start) - 7;
  const std::int64_t date = data + dataLength;  // before `data` if the record's length is too small
  const int code = CodeOf(memory.At(symbology), layout);
  const std::string delimiter = DataDelimiter(choices.dataDelimiter);

  Line line;
  if (choices.order >= 0 && choices.order <= 5) {
    line.loggedCode = code;
    // n is the name of the symbology, d the data, t the time.
    constexpr const char* kOrders[] = {"ndt", "ntd", "dnt", "dtn", "tnd", "tdn"};
    std::string fields;
    for (const char field : std::string(kOrders[choices.order])) {
      if (field == 'n' && choices.typeWanted == 0) continue;
      if (field == 't' && choices.timeWanted == 0) continue;
      if (!fields.empty()) line.text += delimiter;
      fields += field;
      if (field == 'n') line.text += NameOf(code, layout);
      if (field == 't') line.text += TimeOfScan(memory.PairAt(date), memory.PairAt(date + 2));
      for (int i = 0; field == 'd' && i < dataLength && data + i < memory.Size(); ++i) {
        line.text += static_cast<char>(memory.At(data + i));
      }
    }
  }
  if (choices.serialWanted != 0) {
    const std::string serial = ShownSerial(choices.serialField);
    if (choices.serialPosition == 0) line.text = serial + delimiter + line.text;
    if (choices.serialPosition == 1) line.text += delimiter + serial;
  }
  line.text += RecordDelimiter(choices.recordDelimiter);
  return line;
}

std::vector<Visit> WalkBurst(const Memory& memory, std::int64_t received, Layout layout) {
  const bool older = layout == Layout::kOlder;
  std::vector<Visit> visits;
  for (std::int64_t offset = 3; offset < received; offset += visits.back().step) {
    const std::int64_t step = older ? memory.At(offset) + 1 : memory.PairAt(offset);
    const int symbology = memory.At(offset + (older ? 1 : 2));
    // With a step of zero, the walk would never end. A record must not extend past the buffer.
    const bool last = step == 0 || offset + step > memory.Size();
    visits.push_back({offset, step, symbology == 0xFF, last});
    if (last) break;
  }
  return visits;
}

namespace {

/// Converts text with iconv(3). Returns std::nullopt if the bytes are not valid in the encoding
/// `from`.
std::optional<std::string> Converted(const char* to, const char* from, std::string_view bytes) {
  const iconv_t converter = iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("iconv_open");
  std::string input(bytes);
  std::string output(4 * bytes.size() + 4, '\0');
  char* in = input.data();
  char* out = output.data();
  std::size_t inLeft = input.size();
  std::size_t outLeft = output.size();
  const bool failed =
      iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1);
  iconv_close(converter);
  if (failed) return std::nullopt;
  output.resize(output.size() - outLeft);
  return output;
}

}  // namespace

std::string Shown(std::string_view line) {
  if (Converted("UTF-32LE", "UTF-8", line)) return std::string(line);
  return Converted("UTF-8", "ISO-8859-1", line).value();
}

}  // namespace quillet::oracle
