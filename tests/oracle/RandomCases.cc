#include "tests/oracle/RandomCases.h"

#include <limits>

namespace quillet::oracle {
namespace {

constexpr int kLongestLine = 10240;

void AddPair(Bytes& bytes, int pair) {
  bytes.push_back(static_cast<std::uint8_t>(pair / 256));
  bytes.push_back(static_cast<std::uint8_t>(pair % 256));
}

void AddCharacter(Bytes& bytes, std::uint32_t character) {
  constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
  const int more = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  bytes.push_back(static_cast<std::uint8_t>(kLead[more] | character >> 6 * more));
  for (int i = more - 1; i >= 0; --i) {
    bytes.push_back(static_cast<std::uint8_t>(0x80 | (character >> 6 * i & 0x3F)));
  }
}

/// Returns random UTF-8 sequences. Some are invalid: surrogates and code points above U+10FFFF.
Bytes Characters(Random& random, int length) {
  Bytes data;
  while (static_cast<int>(data.size()) < length) {
    const std::uint32_t limit = static_cast<std::uint32_t>(
        random.Of({0x80, 0x800, 0x800, 0x10000, 0x10000, 0x110000, 0x110000, 0x200000}));
    AddCharacter(data, static_cast<std::uint32_t>(random.Next() % limit));
  }
  // Truncating to `length` may split the last character. To prevent this in three of four cases,
  // trailing non-ASCII characters are first replaced with "x".
  if (!random.OneIn(4)) {
    while (static_cast<int>(data.size()) > length || (!data.empty() && data.back() >= 0x80)) {
      data.pop_back();
    }
    data.resize(static_cast<std::size_t>(length), 'x');
  }
  data.resize(static_cast<std::size_t>(length));
  return data;
}

Bytes RandomData(Random& random, int length) {
  if (random.OneIn(5)) return Characters(random, length);
  const int kind = random.Below(5);
  Bytes data(static_cast<std::size_t>(length));
  for (std::uint8_t& byte : data) {
    int value = random.Byte();
    if (kind == 0) value = random.Between('0', '9');
    if (kind == 1) value = random.Between(' ', '~');
    if (kind == 2) {
      value = random.Of({0, 3, 9, 10, 13, 27, 127, '!', '@', ',', ';', ' ', 'A', '1', '%'});
    }
    byte = static_cast<std::uint8_t>(value);
  }
  return data;
}

int RandomDataLength(Random& random, Layout layout) {
  if (layout == Layout::kOlder) {
    if (random.OneIn(10)) return random.Between(240, 250);
    return random.OneIn(5) ? random.Between(0, 250) : random.Between(0, 24);
  }
  if (random.OneIn(1000)) return random.Between(0, 65528);
  if (random.OneIn(400)) return random.Between(kLongestLine - 100, kLongestLine + 20);
  if (random.OneIn(20)) return random.Between(240, 270);
  return random.OneIn(20) ? random.Between(0, 1000) : random.Between(0, 24);
}

int RandomSymbology(Random& random) {
  return random.OneIn(4) ? random.Of({20, 21, 10, 11, 15, 16, 44, 45, 60, 61, 62, 63, 0x86, 0xD4,
                                      0x55, 0xFE, 0xFF})
                         : random.Below(256);
}

int RandomPair(Random& random) {
  return random.OneIn(4) ? random.Of({0, 1, 0xFFFF, 0xFFFE, 0x8000, 0x7FFF, 0xFC00, 0x03C0, 0x003E,
                                      0xF000, 0x0FC0, 0x003F, 0xBFFF, 0x3147, 0x4109})
                         : random.Below(65536);
}

/// Returns a random value for the length field of a record. The value is probably wrong.
int WrongLength(Random& random, Layout layout) {
  if (layout == Layout::kOlder) return random.OneIn(2) ? random.Below(8) : random.Below(256);
  if (random.OneIn(100)) return random.Below(65536);
  return random.OneIn(2) ? random.Below(10) : random.Below(600);
}

Bytes MakeRecord(Random& random, Layout layout, int symbology) {
  const int dataLength = RandomDataLength(random, layout);
  const bool wrong = random.OneIn(12);
  Bytes record;
  if (layout == Layout::kOlder) {
    record.push_back(
        static_cast<std::uint8_t>(wrong ? WrongLength(random, layout) : dataLength + 5));
  } else {
    AddPair(record, wrong ? WrongLength(random, layout) : dataLength + 7);
  }
  record.push_back(static_cast<std::uint8_t>(symbology));
  const Bytes data = RandomData(random, dataLength);
  record.insert(record.end(), data.begin(), data.end());
  AddPair(record, RandomPair(random));
  AddPair(record, RandomPair(random));
  return record;
}

/// Returns a value for a setting whose valid values are 0 to `last`. Most results are valid. Some
/// invalid results have a valid low byte.
std::int32_t RandomNumber(Random& random, int last) {
  if (!random.OneIn(5)) return random.Between(0, last);
  if (random.OneIn(2)) return random.Between(last + 1, 9);
  switch (random.Below(4)) {
    case 0:
      return -random.Between(1, 10);
    case 1:
      return 256 * random.Between(-3, 3) + random.Between(0, last);
    case 2:
      return random.OneIn(2) ? std::numeric_limits<std::int32_t>::min()
                             : std::numeric_limits<std::int32_t>::max();
    default:
      return static_cast<std::int32_t>(static_cast<std::uint32_t>(random.Next()));
  }
}

int RandomSwitch(Random& random) {
  if (random.OneIn(10)) return random.Between(2, 255);
  return random.OneIn(3) ? 0 : 1;
}

}  // namespace

Bytes RandomRecord(Random& random, Layout layout) {
  Bytes record = MakeRecord(random, layout, RandomSymbology(random));
  // Truncates some records, but keeps at least the first byte.
  if (random.OneIn(20)) {
    record.resize(static_cast<std::size_t>(random.Between(1, static_cast<int>(record.size()))));
  }
  return record;
}

Bytes RecordOfSize(Random& random, Layout layout, int size, bool tellsMore) {
  Bytes record;
  const int told = size + (tellsMore ? 1 : 0);
  if (layout == Layout::kOlder) {
    record.push_back(static_cast<std::uint8_t>(told - 1));
  } else {
    AddPair(record, told);
  }
  record.push_back(static_cast<std::uint8_t>(random.Below(0xFF)));
  while (static_cast<int>(record.size()) < size) record.push_back(random.Byte());
  return record;
}

Bytes RandomRecords(Random& random, Layout layout, int records) {
  Bytes all;
  for (int i = 0; i < records; ++i) {
    const Bytes record =
        MakeRecord(random, layout, random.OneIn(4) ? 0xFF : RandomSymbology(random));
    all.insert(all.end(), record.begin(), record.end());
  }
  if (random.OneIn(4)) {
    const Bytes piece = RandomRecord(random, layout);
    all.insert(all.end(), piece.begin(),
               piece.begin() + random.Between(1, static_cast<int>(piece.size())));
  }
  return all;
}

Choices RandomChoices(Random& random) {
  Choices choices;
  choices.typeWanted = RandomSwitch(random);
  choices.serialWanted = RandomSwitch(random);
  choices.timeWanted = RandomSwitch(random);
  choices.dataDelimiter = RandomNumber(random, 4);
  choices.recordDelimiter = RandomNumber(random, 4);
  choices.serialPosition = RandomNumber(random, 1);
  choices.order = RandomNumber(random, 5);
  // The field ends with a NUL. Bytes after an earlier NUL are left over from a previous value.
  choices.serialField.assign(11, '\0');
  const bool anything = random.OneIn(8);
  for (std::size_t i = 0; i + 1 < choices.serialField.size(); ++i) {
    choices.serialField[i] = static_cast<char>(anything ? random.Byte() : random.Between('0', 'Z'));
  }
  if (random.OneIn(4)) choices.serialField[static_cast<std::size_t>(random.Below(11))] = '\0';
  return choices;
}

}  // namespace quillet::oracle
