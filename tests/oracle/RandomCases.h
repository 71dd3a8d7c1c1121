#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "tests/oracle/Oracle.h"

namespace quillet::oracle {

/// Numbers that are the same for a state on every machine, which the library's distributions do not
/// promise.
class Random {
 public:
  explicit Random(std::uint64_t randomState) : engine_(randomState) {}

  std::uint64_t Next() { return engine_(); }
  /// 0 up to `limit` - 1.
  int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint64_t>(limit)); }
  /// `least` up to `most`.
  int Between(int least, int most) { return least + Below(most - least + 1); }
  bool OneIn(int many) { return Below(many) == 0; }
  int Of(std::initializer_list<int> values) {
    return values.begin()[Below(static_cast<int>(values.size()))];
  }
  std::uint8_t Byte() { return static_cast<std::uint8_t>(Below(256)); }

 private:
  std::mt19937_64 engine_;
};

using Bytes = std::vector<std::uint8_t>;

/// A record as a scanner may send it: most have the length that they tell, some another one, and
/// any byte may be anything. Never empty.
Bytes RandomRecord(Random& random, Layout layout);

/// A record of so many bytes, at least 7.
/// @param tellsMore  the length that it tells is larger by one
Bytes RecordOfSize(Random& random, Layout layout, int size, bool tellsMore);

/// Records one behind the other, some of them erased, possibly with a piece of one at the end.
/// @param records  how many
Bytes RandomRecords(Random& random, Layout layout, int records);

/// Settings with numbers in and outside their tables.
Choices RandomChoices(Random& random);

}  // namespace quillet::oracle
