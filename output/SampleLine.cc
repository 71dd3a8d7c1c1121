#include "output/SampleLine.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "output/KeyTables.h"

namespace quillet {
namespace {

NoLog noLog;

// An EAN-13 barcode, scanned on 2026/11/16 at 14:07:09.
// Packed date: year, month, day, PM flag. Packed time: 12-hour hour, minute, second.
constexpr std::string_view kData = "9780306406157";
constexpr std::uint16_t kDate = 26 << 10 | 11 << 6 | 16 << 1 | 1;
constexpr std::uint16_t kTime = 2 << 12 | 7 << 6 | 9;

constexpr std::string_view kReturn = "⏎";

struct Spelling {
  std::string_view characters;
  std::string_view shown;
};

// The first matching entry is used, so CR LF must precede CR and LF.
constexpr Spelling kSpellings[] = {
    {"\r\n", kReturn}, {"\r", "←"}, {"\n", "↓"}, {"\t", "→"}, {" ", "␣"},
};

}  // namespace

SampleComposer::SampleComposer() : composer_(noLog, *this, identity_) {}

std::string SampleComposer::Line(bool series300) {
  identity_.bTavo300 = series300 ? 1 : 0;
  // A record begins with its length and symbology. The length in an older scanner's record does
  // not include the length byte.
  std::vector<std::uint8_t> record = {5 + kData.size(), 0};
  if (series300) record = {0, 7 + kData.size(), 21};
  record.insert(record.end(), kData.begin(), kData.end());
  constexpr std::uint8_t kMoment[] = {kDate >> 8, kDate & 0xFF, kTime >> 8, kTime & 0xFF};
  std::ranges::copy(kMoment, std::back_inserter(record));
  std::string line;
  DecodeRecordText(composer_.Compose(record, 0), line);
  return line;
}

std::string VisibleSpelling(std::string_view text) {
  std::string visible;
  while (!text.empty()) {
    const auto* spelling = std::ranges::find_if(
        kSpellings, [&](const Spelling& each) { return text.starts_with(each.characters); });
    if (spelling == std::end(kSpellings)) {
      visible += text.front();
      text.remove_prefix(1);
    } else {
      visible += spelling->shown;
      text.remove_prefix(spelling->characters.size());
    }
  }
  return visible;
}

std::string TypedSpelling(std::string_view text) {
  std::string typed;
  for (const char character : text) {
    if (KeyForCharacter(static_cast<unsigned char>(character)) == kNoKey) continue;
    typed += character == '\n' ? kReturn : VisibleSpelling({&character, 1});
  }
  return typed;
}

}  // namespace quillet
