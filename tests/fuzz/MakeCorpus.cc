// make_corpus FOLDER: writes the inputs that the fuzzers begin with, as the simulated scanner would
// send them. They are in the tree under tests/fuzz/corpus; this program tells how they came about.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/RecordGenerator.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/fuzz/Script.h"

namespace quillet::fuzz {
namespace {

using simulator::Bytes;
using simulator::Model;

// In the order of TakeSettings: everything attached, commas, new lines, number last, first order.
constexpr std::string_view kUsual{"\1\1\1\3\4\1\0", kSettingsBytes};
// Data, time and name without number, tabs between, nothing behind.
constexpr std::string_view kOther{"\1\0\1\1\0\0\4", kSettingsBytes};

void Write(const std::filesystem::path& file, std::string_view contents) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << contents;
}

std::string Join(const std::vector<simulator::ScanRecord>& records, Model model) {
  std::string joined;
  for (const auto& record : records) {
    const Bytes bytes = Encode(record, model);
    joined.append(bytes.begin(), bytes.end());
  }
  return joined;
}

std::string Length(std::size_t length) {
  return {static_cast<char>(length >> 16U), static_cast<char>(length >> 8U),
          static_cast<char>(length)};
}

/// A connection and a run in either way.
std::string Session(std::string_view settings, Model model, bool burst,
                    const std::vector<simulator::ScanRecord>& records) {
  Script script(settings);
  script.Answer('W', "@").Answer('M', "2104005771@");
  script.Answer('V', model == Model::kOlder ? "0.00.41000@" : "0.00.31000@");
  script.Answer('w', "@").Answer('C', "@").Answer('W', "@");
  script.Answer('N', std::string{'\0', '\0', '\0', static_cast<char>(records.size()), '@'});
  script.Answer('0', "@");
  if (burst) {
    const std::string body = Join(records, model);
    script.Answer('P', Length(3 + body.size()) + body).Answer('W', "@");
  } else {
    for (const auto& record : records) {
      const std::string body = Join({record}, model);
      script.Answer('p', "\3" + Length(4 + body.size()) + body + "@");
    }
  }
  // And a scan that nobody has asked for.
  const std::string body = Join({records.front()}, model);
  return script.Answer('1', "@").Feed("\3" + Length(3 + body.size()) + body + "@").Text();
}

/// Those short enough for a fuzzer to try many changes of.
std::vector<simulator::ScanRecord> ShortExtremes(Model model) {
  auto records = simulator::ExtremeRecords(24, model);
  std::erase_if(records, [](const auto& record) { return record.data.size() > 300; });
  return records;
}

void MakeAll(const std::filesystem::path& folder) {
  for (const Model model : {Model::kOlder, Model::kSeries300}) {
    const std::string name = model == Model::kOlder ? "older" : "series300";
    const char kind = model == Model::kOlder ? 0 : 1;
    for (const std::string_view settings : {kUsual, kOther}) {
      const std::string look = settings == kUsual ? "usual" : "other";
      const auto day = StockTaking(6, model);
      for (const bool burst : {true, false}) {
        Write(folder / "ReceivePath" / (name + (burst ? "-burst-" : "-single-") + look),
              Session(settings, model, burst, day));
      }
      for (const auto& [records, what] :
           {std::pair(day, "day"), std::pair(ShortExtremes(model), "extremes")}) {
        Write(folder / "BurstWalk" / (name + '-' + what + '-' + look),
              std::string(settings) + kind + Join(records, model));
      }
    }
  }
  std::string settings(1023, '0');
  settings.replace(0, 14, "11134100100100");
  settings.replace(256, 23, "/Applications/TextEdit\r");
  settings.replace(384, 46, "/Users/Shared/QuilletData/sn_timestamp.txt\r000");
  Write(folder / "SettingsFile" / "first-start", settings);
  Write(folder / "SettingsFile" / "empty", "");
  Write(folder / "SettingsFile" / "marked", "\xEF\xBB\xBF" + settings);
  const std::string line = "EAN 13,4006381333931,[2026/11/16:14:07:09],005771\r\n";
  const std::string begin(1, static_cast<char>(line.size()));
  Write(folder / "AppendedFile" / "utf-8", begin + line + line);
  Write(folder / "AppendedFile" / "marked", begin + line + "\xEF\xBB\xBF" + line);
  Write(folder / "AppendedFile" / "latin-1", begin + line + "caf\xE9\r\n");
  Write(folder / "AppendedFile" / "utf-16", begin + line +
                                                std::string("\xFF\xFE"
                                                            "a\0\xE9\0",
                                                            6));
}

}  // namespace
}  // namespace quillet::fuzz

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  quillet::fuzz::MakeAll(argv[1]);
}
