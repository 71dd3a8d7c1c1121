#include "simulator/RecordCsv.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "simulator/InputError.h"
#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

using Complaint = std::invalid_argument;

std::string Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

/// Reads the field that begins at line[at]; moves `at` behind its comma, or to the end.
std::string TakeField(std::string_view line, std::size_t& at) {
  std::string field;
  if (at < line.size() && line[at] == '"') {
    at += 1;
    while (true) {
      const std::size_t quote = line.find('"', at);
      if (quote == std::string_view::npos) throw Complaint("a quotation mark is not closed");
      field += line.substr(at, quote - at);
      at = quote + 1;
      if (at == line.size() || line[at] != '"') break;
      field += '"';
      at += 1;
    }
    if (at < line.size() && line[at] != ',') {
      throw Complaint("expected a comma behind the closing quotation mark");
    }
  } else {
    const std::size_t comma = std::min(line.find(',', at), line.size());
    field = line.substr(at, comma - at);
    at = comma;
  }
  at = std::min(at + 1, line.size() + 1);
  return field;
}

std::vector<std::string> SplitLine(std::string_view line) {
  std::vector<std::string> fields;
  for (std::size_t at = 0; at <= line.size();) fields.push_back(TakeField(line, at));
  return fields;
}

ScanRecord ReadRecord(std::string_view line, Model model) {
  const std::vector<std::string> fields = SplitLine(line);
  if (fields.size() != 3) {
    throw Complaint("expected symbology, data and time; there are " +
                    std::to_string(fields.size()) + " fields");
  }
  ScanRecord record;
  const std::string symbology = Trimmed(fields[0]);
  record.symbology = symbology == "erased" ? kErasedSlot : ParseSymbologyByte(model, symbology);
  record.data = Unescape(fields[1]);
  if (record.data.size() > MaxDataSize(model)) {
    throw Complaint("the data has " + std::to_string(record.data.size()) +
                    " bytes; a record of this model holds " + std::to_string(MaxDataSize(model)));
  }
  const std::string time = Trimmed(fields[2]);
  const auto parsed = ParseCalendarTime(time);
  if (!parsed) {
    throw Complaint("\"" + time +
                    "\" is no time of the years 2000 to 2063 written as YYYY-MM-DD HH:MM:SS");
  }
  record.time = *parsed;
  return record;
}

}  // namespace

std::vector<ScanRecord> ParseRecords(std::string_view csv, Model model) {
  std::vector<ScanRecord> records;
  int number = 0;
  while (!csv.empty()) {
    number += 1;
    const std::size_t end = std::min(csv.find('\n'), csv.size());
    std::string_view line = csv.substr(0, end);
    csv.remove_prefix(std::min(end + 1, csv.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (Trimmed(line).empty() || line.front() == '#') continue;
    try {
      records.push_back(ReadRecord(line, model));
    } catch (const Complaint& complaint) {
      throw InputError(number, complaint.what());
    }
  }
  return records;
}

}  // namespace quillet::simulator
