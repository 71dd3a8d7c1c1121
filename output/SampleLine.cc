#include "output/SampleLine.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "output/KeyTables.h"

namespace quillet {
namespace {

// A sample is not logged: the log tells what the scanner did.
class NoLog final : public SystemLog {
 public:
  void Write(std::string_view) override {}
};

NoLog no_log;

constexpr std::string_view kSerialNumber = "2104005771";

// An EAN-13, scanned on 2026/11/16 at 14:07:09. The date is packed of year, month, day and a bit
// for the afternoon, the time of the hour of the half day, minute and second.
constexpr std::string_view kData = "9780306406157";
constexpr std::uint16_t kDate = 26 << 10 | 11 << 6 | 16 << 1 | 1;
constexpr std::uint16_t kTime = 2 << 12 | 7 << 6 | 9;
constexpr std::array<std::uint8_t, 4> kMoment = {kDate >> 8, kDate & 0xFF, kTime >> 8,
                                                 kTime & 0xFF};

// The record: what stands in front of the data, the data, the moment.
template <std::size_t Size>
constexpr auto MakeRecord(const std::array<std::uint8_t, Size>& head) {
  std::array<std::uint8_t, Size + kData.size() + kMoment.size()> record{};
  auto* end = std::copy(head.begin(), head.end(), record.begin());
  end = std::copy(kData.begin(), kData.end(), end);
  std::copy(kMoment.begin(), kMoment.end(), end);
  return record;
}

// Length and symbology. The length counts all but its own first byte, or all with its own two.
constexpr auto kOlderRecord = MakeRecord(std::array<std::uint8_t, 2>{5 + 13, 0});
constexpr auto kSeries300Record = MakeRecord(std::array<std::uint8_t, 3>{0, 7 + 13, 21});

constexpr std::string_view kReturn = "⏎";

struct Spelling {
  std::string_view characters;
  std::string_view shown;
};

// The first that matches is taken.
constexpr Spelling kSpellings[] = {
    {"\r\n", kReturn}, {"\r", "←"}, {"\n", "↓"}, {"\t", "→"}, {" ", "␣"},
};

}  // namespace

SampleComposer::SampleComposer() : composer_(no_log, *this, identity_) {
  identity_.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(kSerialNumber.data()),
                            kSerialNumber.size());
}

std::string SampleComposer::Line(bool series300) {
  identity_.bTavo300 = series300 ? 1 : 0;
  std::string line;
  DecodeRecordText(
      series300 ? composer_.Compose(kSeries300Record, 0) : composer_.Compose(kOlderRecord, 0),
      line);
  return line;
}

std::string VisibleSpelling(std::string_view text) {
  std::string visible;
  while (!text.empty()) {
    std::string_view shown = text.substr(0, 1);
    std::size_t length = 1;
    for (const Spelling& spelling : kSpellings) {
      if (!text.starts_with(spelling.characters)) continue;
      shown = spelling.shown;
      length = spelling.characters.size();
      break;
    }
    visible += shown;
    text.remove_prefix(length);
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
