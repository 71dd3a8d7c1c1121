#include "simulator/RecordGenerator.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <string>

#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

/// Generates the same numbers on every platform, unlike the distributions of the standard library.
class Random {
 public:
  explicit Random(std::uint64_t state) : engine_(state) {}

  /// Returns a number from 0 to `end` - 1.
  std::uint64_t Below(std::uint64_t end) { return engine_() % end; }

  int Between(int low, int high) {
    return low + static_cast<int>(Below(static_cast<std::uint64_t>(high - low) + 1));
  }

  std::string Digits(std::size_t count) {
    std::string digits;
    while (digits.size() < count) digits += static_cast<char>('0' + Below(10));
    return digits;
  }

  template <typename List>
  const auto& OneOf(const List& list) {
    return list[Below(std::size(list))];
  }

 private:
  std::mt19937_64 engine_;
};

template <typename... Values>
std::string Format(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

struct Label {
  std::string_view symbology;
  std::string data;
};

/// Generates the labels of the shelves, articles and cartons in a stockroom.
class Stockroom {
 public:
  Stockroom(Model model, std::uint64_t randomState) : model_(model), random_(randomState) {
    constexpr int kArticles = 80;
    for (int article = 0; article < kArticles; ++article) assortment_.push_back(NewArticle());
  }

  Label Next() {
    if (leftOnShelf_-- == 0) return NextShelf();
    if (repeat_ > 0) {
      repeat_ -= 1;
      return current_;
    }
    const std::uint64_t kind = random_.Below(100);
    if (kind < 8) return Carton();
    if (kind < 12) return Equipment();
    if (kind < 20 && model_ == Model::kSeries300) return Matrix();
    current_ = random_.OneOf(assortment_);
    repeat_ = static_cast<int>(random_.Below(3));
    return current_;
  }

 private:
  Label NewArticle() {
    // EAN prefixes of several countries.
    constexpr std::array<std::string_view, 8> kPrefixes = {"400", "426", "301", "376",
                                                           "501", "541", "761", "871"};
    const std::uint64_t kind = random_.Below(10);
    if (kind == 0) return WithCheckDigit("EAN-8", "40" + random_.Digits(5));
    if (kind == 1) return WithCheckDigit("UPC-A", '0' + random_.Digits(10));
    const std::string prefix(random_.OneOf(kPrefixes));
    return WithCheckDigit("EAN-13", prefix + random_.Digits(9));
  }

  Label NextShelf() {
    leftOnShelf_ = random_.Between(5, 14);
    repeat_ = 0;
    level_ += 1;
    if (level_ > 5) {
      level_ = 1;
      aisle_ += 1;
    }
    return {"Code 128", Format("R%02d-%c%02d-%d", aisle_ % 100, 'A' + random_.Between(0, 5),
                               random_.Between(1, 24), level_)};
  }

  /// The code of a carton: a digit for the package size, then the article number.
  Label Carton() {
    const Label& article = random_.OneOf(assortment_);
    std::string inner = article.data.substr(0, article.data.size() - 1);
    inner.insert(0, 12 - inner.size(), '0');
    const std::string digits = std::to_string(random_.Between(1, 8)) + inner;
    return WithCheckDigit(model_ == Model::kOlder ? "ITF-14" : "I2of5", digits);
  }

  Label Equipment() { return {"Code 39", Format("INV-%06d", random_.Between(1, 999'999))}; }

  Label Matrix() {
    if (random_.Below(2) == 0) {
      return {"QR/Micro QR",
              Format("LOC:WH2/AISLE-%02d/BIN-%03d", aisle_ % 100, random_.Between(1, 240))};
    }
    return {"Data Matrix", "0104" + random_.Digits(12) + "1727" +
                               Format("%02d%02d", random_.Between(1, 12), random_.Between(1, 28)) +
                               "10LOT" + random_.Digits(4)};
  }

  static Label WithCheckDigit(std::string_view symbology, const std::string& digits) {
    return {symbology, digits + CheckDigit(digits)};
  }

  Model model_;
  Random random_;
  std::vector<Label> assortment_;
  Label current_;
  int repeat_ = 0;
  int leftOnShelf_ = 0;
  int aisle_ = 1;
  int level_ = 0;
};

/// Bytes with a special meaning in the protocol.
constexpr std::array<std::uint8_t, 10> kMeaningful = {0x03, 0x0A, 0x0D, 0x11, 0x13,
                                                      0x21, 0x40, 0x00, 0xFF, 0x7F};

constexpr std::array<CalendarTime, 8> kEdgesOfTime = {{
    {2000, 1, 1, 0, 0, 0},
    {2063, 12, 31, 23, 59, 59},
    {2024, 2, 29, 12, 0, 0},
    {2031, 10, 9, 11, 59, 59},
    {2032, 1, 31, 0, 0, 0},
    {2047, 12, 1, 12, 59, 59},
    {2000, 2, 29, 23, 0, 0},
    {2063, 1, 1, 0, 59, 0},
}};

CalendarTime ExtremeTime(std::size_t number, Random& random) {
  if (number % 3 == 0) return kEdgesOfTime[number / 3 % kEdgesOfTime.size()];
  CalendarTime time{random.Between(2000, 2063), random.Between(1, 12), random.Between(1, 31),
                    random.Between(0, 23),      random.Between(0, 59), random.Between(0, 59)};
  while (!IsValid(time)) time.day -= 1;
  return time;
}

std::size_t ExtremeSize(std::size_t number, Model model, Random& random) {
  constexpr std::array<std::size_t, 6> kFirst = {0, 1, 0, 249, 250, 0};
  const std::size_t most = MaxDataSize(model);
  const std::size_t kind = number % 16;
  if (kind == 2 && (model == Model::kOlder || number % 64 == 2)) return most;
  if (kind == 2) return 1 + random.Below(4000);
  if (kind < kFirst.size()) return kFirst[kind];
  return random.Below(std::min<std::size_t>(most, 300) + 1);
}

std::uint8_t ExtremeByte(std::size_t number, std::size_t at, Random& random) {
  switch (number % 4) {
    case 0:
      return random.OneOf(kMeaningful);
    case 1:
      return kMeaningful[number / 4 % kMeaningful.size()];
    case 2:
      return static_cast<std::uint8_t>(at + number);
    default:
      return static_cast<std::uint8_t>(random.Below(256));
  }
}

}  // namespace

std::vector<ScanRecord> StockTaking(std::size_t count, Model model, std::uint64_t randomState) {
  constexpr CalendarTime kMorning{2026, 11, 16, 7, 30, 0};
  constexpr std::uint64_t kWorkingDay = std::uint64_t{9} * 3600 * 1000;  // in ms
  constexpr std::uint64_t kLongestStep =
      std::uint64_t{4} * 60 * 1000;  // upper limit of the average time between scans, in ms

  Stockroom stockroom(model, randomState);
  Random hands(randomState + 1);
  const std::uint64_t step = std::min(kLongestStep, kWorkingDay / std::max<std::size_t>(count, 1));
  std::uint64_t elapsed = 0;
  std::vector<ScanRecord> records;
  records.reserve(count);
  while (records.size() < count) {
    const Label label = stockroom.Next();
    elapsed += step / 2 + hands.Below(step + 1);
    records.push_back(MakeRecord(SymbologyCode(model, label.symbology).value(), label.data,
                                 AddSeconds(kMorning, static_cast<std::int64_t>(elapsed / 1000))));
  }
  return records;
}

std::vector<ScanRecord> ExtremeRecords(std::size_t count, Model model, std::uint64_t randomState) {
  Random random(randomState);
  std::vector<ScanRecord> records;
  records.reserve(count);
  for (std::size_t number = 0; number < count; ++number) {
    ScanRecord& record = records.emplace_back();
    record.symbology = static_cast<std::uint8_t>(number % kErasedSlot);
    record.data.resize(ExtremeSize(number, model, random));
    std::size_t at = 0;
    for (std::uint8_t& byte : record.data) byte = ExtremeByte(number, at++, random);
    record.time = ExtremeTime(number, random);
  }
  return records;
}

char CheckDigit(std::string_view digits) {
  int sum = 0;
  int weight = 3;
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    sum += (*digit - '0') * weight;
    weight = 4 - weight;
  }
  return static_cast<char>('0' + (10 - sum % 10) % 10);
}

}  // namespace quillet::simulator
