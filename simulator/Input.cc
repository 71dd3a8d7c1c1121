#include "simulator/Input.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <locale>
#include <sstream>
#include <string>

#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

template <class Number>
std::optional<Number> ReadDigits(std::string_view digits, int base) {
  Number number{};
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, number, base);
  if (error != std::errc{} || end != last) return std::nullopt;
  return number;
}

using Complaint = std::invalid_argument;

std::string Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::vector<std::string> SplitLine(std::string_view line) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  bool closed = false;
  for (std::size_t at = 0; at < line.size(); ++at) {
    const char letter = line[at];
    if (quoted && letter == '"' && line.substr(at + 1).starts_with('"')) {
      fields.back() += line[++at];
    } else if (quoted && letter == '"') {
      quoted = false;
      closed = true;
    } else if (!quoted && letter == ',') {
      fields.emplace_back();
      closed = false;
    } else if (!quoted && closed) {
      throw Complaint("expected a comma after the closing quotation mark");
    } else if (!quoted && letter == '"' && fields.back().empty()) {
      quoted = true;
    } else {
      fields.back() += letter;
    }
  }
  if (quoted) throw Complaint("a closing quotation mark is missing");
  return fields;
}

ScanRecord ReadRecord(std::string_view line, Model model) {
  const std::vector<std::string> fields = SplitLine(line);
  if (fields.size() != 3) {
    throw Complaint("expected 3 fields (symbology, data, time), not " +
                    std::to_string(fields.size()));
  }
  ScanRecord record;
  const std::string symbology = Trimmed(fields[0]);
  record.symbology = symbology == "erased" ? kErasedSlot : ParseSymbologyByte(model, symbology);
  record.data = Unescape(fields[1]);
  if (record.data.size() > MaxDataSize(model)) {
    throw Complaint("the data has " + std::to_string(record.data.size()) +
                    " bytes, but this model allows at most " + std::to_string(MaxDataSize(model)));
  }
  const std::string time = Trimmed(fields[2]);
  const auto moment = ParseCalendarTime(time);
  if (!moment) {
    throw Complaint(
        "\"" + time +
        "\" is not a valid time: use YYYY-MM-DD HH:MM:SS, with a year from 2000 to 2063");
  }
  record.time = *moment;
  return record;
}

}  // namespace

void ForEachLine(std::string_view text, const std::function<void(std::string_view)>& read) {
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    try {
      read(line);
    } catch (const std::invalid_argument& error) {
      throw InputError("line " + std::to_string(number) + ": " + error.what());
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::optional<std::uint64_t> ReadNumber(std::string_view text) {
  if (!text.starts_with("0x")) return ReadDigits<std::uint64_t>(text, 10);
  return ReadDigits<std::uint64_t>(text.substr(2), 16);
}

std::optional<std::chrono::nanoseconds> ReadDuration(std::string_view text,
                                                     std::chrono::nanoseconds unit) {
  // std::from_chars does not support floating-point numbers on macOS.
  if (text.empty() || text.front() == '+') return std::nullopt;
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double number = 0;
  stream >> std::noskipws >> number;
  if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof()) return std::nullopt;
  constexpr double kMost = 1e15;
  const double nanoseconds = number * static_cast<double>(unit.count());
  if (!(nanoseconds >= 0 && nanoseconds <= kMost)) return std::nullopt;
  return std::chrono::nanoseconds{std::llround(nanoseconds)};
}

std::optional<std::uint8_t> ReadHexByte(std::string_view digits) {
  if (digits.size() != 2) return std::nullopt;
  return ReadDigits<std::uint8_t>(digits, 16);
}

Bytes Unescape(std::string_view text) {
  constexpr std::string_view kLetters = "\\nrt";
  constexpr std::string_view kMeanings = "\\\n\r\t";
  Bytes bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      bytes.push_back(static_cast<std::uint8_t>(text[at]));
      continue;
    }
    at += 1;
    const char letter = at < text.size() ? text[at] : '\0';
    const std::size_t simple = kLetters.find(letter);
    if (simple != std::string_view::npos) {
      bytes.push_back(static_cast<std::uint8_t>(kMeanings[simple]));
    } else if (letter == 'x') {
      const auto byte = ReadHexByte(text.substr(at + 1, 2));
      if (!byte) throw std::invalid_argument("\\x must be followed by two hexadecimal digits");
      bytes.push_back(*byte);
      at += 2;
    } else {
      throw std::invalid_argument(
          "a backslash must be followed by x and two hexadecimal digits, or by \\, n, r or t");
    }
  }
  return bytes;
}

std::uint8_t ParseSymbologyByte(Model model, std::string_view text) {
  if (const auto code = SymbologyCode(model, text)) return *code;
  const auto value = ReadNumber(text);
  if (!value || *value > 0xFF) {
    throw std::invalid_argument(
        "\"" + std::string(text) +
        "\" is neither a symbology of this model nor a number from 0 to 255");
  }
  return static_cast<std::uint8_t>(*value);
}

std::vector<ScanRecord> ParseRecords(std::string_view csv, Model model) {
  std::vector<ScanRecord> records;
  ForEachLine(csv, [&](std::string_view line) {
    if (Trimmed(line).empty() || line.front() == '#') return;
    records.push_back(ReadRecord(line, model));
  });
  return records;
}

}  // namespace quillet::simulator
