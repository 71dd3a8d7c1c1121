#include "output/RecordsFile.h"

#include <algorithm>
#include <charconv>

#include "download/RecordComposer.h"
#include "download/StoredRecords.h"
#include "output/SettingsImage.h"

namespace quillet {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

// Returns the text before the next `separator` and removes both from `text`.
std::string_view TakeUntil(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

// Parses a decimal number. Returns no value if the text is not a number or the number is too large.
std::optional<std::size_t> Number(std::string_view text) {
  std::size_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

class Reader {
 public:
  explicit Reader(const ArchivedRecord& record) : record_(record) {}

  void Entry(std::string_view line) {
    const std::string_view name = TakeUntil(line, ' ');
    if (name == "time" && run.time.empty()) run.time = line;
    if (name == "scanner") SetScanner(UnescapedText(line));
    if (name == "settings") SetSettings(UnescapedText(line));
    if (name == "layout") scanner_.bTavo300 = line == "300";
    if (name == "destination") {
      run.destination = static_cast<std::int32_t>(Number(TakeUntil(line, ' ')).value_or(0));
      run.target = UnescapedText(line);
    }
    if (name == "file") run.file = UnescapedText(line);
    if (name == "erased") run.erased = true;
    if (name == "end") {
      run.ended = true;
      const std::string_view status = TakeUntil(line, ' ');
      run.complete = status == "complete";
    }
  }

  void Records(bool burst, std::string_view bytes) {
    const std::span<const std::uint8_t> buffer(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                               bytes.size());
    if (!burst) return Record(buffer);
    ForEachBurstRecord(buffer, 0, static_cast<std::int32_t>(buffer.size()), scanner_.bTavo300,
                       [&](std::int32_t offset, std::int32_t step, bool usable) {
                         if (usable) {
                           Record(buffer.subspan(static_cast<std::size_t>(offset),
                                                 static_cast<std::size_t>(step)));
                         }
                       });
  }

  RecordsFileHead run;

 private:
  void SetScanner(const std::string& serial) {
    run.serial = serial;
    scanner_.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(serial.data()), serial.size());
  }

  void SetSettings(const std::string& choices) {
    SettingsImage image;
    image.fill('0');
    choices.copy(image.data(), image.size());
    ReadChoices(image, settings_);
  }

  void Record(std::span<const std::uint8_t> record) {
    ++run.records;
    if (record_) record_(scanner_, settings_, record);
  }

  const ArchivedRecord& record_;
  ScannerIdentity scanner_;
  Settings settings_;
};

}  // namespace

std::string EscapedText(std::string_view text) {
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool atEnd = i == 0 || i + 1 == text.size();
    if (byte == '%' || byte < 0x20 || byte == 0x7F || (byte == ' ' && atEnd)) {
      escaped.append({'%', kDigits[byte >> 4], kDigits[byte & 0xF]});
    } else {
      escaped.push_back(text[i]);
    }
  }
  return escaped;
}

std::string UnescapedText(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t high = i + 2 < text.size() ? kDigits.find(text[i + 1]) : kDigits.npos;
    const std::size_t low = i + 2 < text.size() ? kDigits.find(text[i + 2]) : kDigits.npos;
    if (text[i] == '%' && high != kDigits.npos && low != kDigits.npos) {
      plain.push_back(static_cast<char>(high << 4 | low));
      i += 2;
    } else {
      plain.push_back(text[i]);
    }
  }
  return plain;
}

std::optional<RecordsFileHead> ReadRecordsFile(std::string_view contents,
                                               const ArchivedRecord& record) {
  if (!contents.starts_with(kArchiveHeader)) return std::nullopt;
  Reader reader(record);
  while (!contents.empty()) {
    if (contents.find('\n') == contents.npos) break;
    const std::string_view line = TakeUntil(contents, '\n');
    const bool burst = line.starts_with("burst ");
    if (!burst && !line.starts_with("record ")) {
      reader.Entry(line);
      continue;
    }
    const std::optional<std::size_t> size = Number(line.substr(line.find(' ') + 1));
    if (!size || *size >= contents.size() || contents[*size] != '\n') return reader.run;
    reader.Records(burst, contents.substr(0, *size));
    contents.remove_prefix(*size + 1);
  }
  reader.run.whole = contents.empty();
  return reader.run;
}

std::optional<RecordsFileHead> ReadRecordsFileLines(
    std::string_view contents, const Settings* settings,
    const std::function<void(const std::string& line)>& line) {
  NoLog log;
  std::optional<RecordComposer> composer;
  std::string text;
  return ReadRecordsFile(contents, [&](const ScannerIdentity& scanner, const Settings& recorded,
                                       std::span<const std::uint8_t> record) {
    if (!composer) composer.emplace(log, settings != nullptr ? *settings : recorded, scanner);
    DecodeRecordText(composer->Compose(record, 0), text);
    line(text);
  });
}

}  // namespace quillet
