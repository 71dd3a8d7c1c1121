#include "output/CsvExport.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "base/Utf8.h"

namespace quillet {
namespace {

// Settings for lines with symbology, time and data. The symbology and the time contain no tab, so
// everything after the second tab is data.
constexpr std::int32_t kSymbologyTimeData = 1;
constexpr std::int32_t kTab = 1;
constexpr std::int32_t kNothing = 0;

// Characters that can start a formula (OWASP, CSV Injection). The last four are the full-width
// forms of the first four.
constexpr std::string_view kFormulaStarts[] = {"=",  "+",  "-",  "@",  "\t", "\r",
                                               "\n", "＝", "＋", "－", "＠"};

bool CanBeAFormula(std::string_view text) {
  return std::ranges::any_of(kFormulaStarts, [&](auto start) { return text.starts_with(start); });
}

std::string Field(std::string_view text) {
  std::string field = "\"";
  if (CanBeAFormula(text)) field += '\'';
  for (const char character : text) {
    if (character == '"') field += '"';
    field += character;
  }
  return field + '"';
}

std::string Row(std::initializer_list<std::string_view> texts) {
  std::string row;
  for (const std::string_view text : texts) row.append(row.empty() ? "" : ",").append(Field(text));
  return row + "\r\n";
}

// Converts "[2026/11/16:14:07:09]" to "2026-11-16 14:07:09".
std::string IsoTime(std::string_view composed) {
  std::string time(composed.substr(1, composed.size() - 2));
  std::ranges::replace(time, '/', '-');
  const std::size_t colon = time.find(':');
  if (colon != std::string::npos) time[colon] = ' ';
  return time;
}

}  // namespace

CsvExport::CsvExport(bool rowPerBarcode, bool apostrophes)
    : rowPerBarcode_(rowPerBarcode), apostrophes_(apostrophes) {
  fields_.bAttachType = 1;
  fields_.bAttachTimestamp = 1;
  fields_.dataorder = kSymbologyTimeData;
  fields_.datadelimiter = kTab;
  fields_.recorddelimiter = kNothing;
}

void CsvExport::Add(const ScannerIdentity& scanner, std::span<const std::uint8_t> record) {
  if (std::exchange(scanner_, &scanner) != &scanner) composer_.emplace(log_, fields_, scanner);
  const std::string_view line = composer_->Compose(record, 0);
  const std::size_t first = line.find('\t');
  const std::size_t second = line.find('\t', first + 1);
  const std::string symbology(line.substr(0, first));
  const std::string_view time = line.substr(first + 1, second - first - 1);
  std::string data;
  DecodeRecordText(line.substr(second + 1), data);
  if (!rowPerBarcode_) {
    std::string serial;
    DecodeRecordText(scanner.SerialNo.TextFrom(kHiddenSerialCharacters), serial);
    rows_ += Row({symbology, Number(data), IsoTime(time), Number(serial)});
    return;
  }
  const auto [barcode, isNew] = quantities_.try_emplace({symbology, data}, 0);
  ++barcode->second;
  if (isNew) order_.push_back(&barcode->first);
}

// Adds an apostrophe if the user requested it, unless Row adds one because the text could be a
// formula.
std::string CsvExport::Number(const std::string& text) const {
  return apostrophes_ && !CanBeAFormula(text) ? "'" + text : text;
}

std::string CsvExport::Contents() const {
  std::string contents(kUtf8Mark);
  if (!rowPerBarcode_)
    return contents + Row({"Symbology", "Barcode", "Time", "Serial number"}) + rows_;
  contents += Row({"Symbology", "Barcode", "Quantity"});
  for (const Barcode* barcode : order_) {
    std::string row = Row({barcode->first, Number(barcode->second)});
    row.insert(row.size() - 2, ',' + std::to_string(quantities_.at(*barcode)));
    contents += row;
  }
  return contents;
}

}  // namespace quillet
