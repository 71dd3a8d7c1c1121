#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "tests/oracle/Oracle.h"

namespace quillet::oracle {

/// A random number generator that gives the same results with every standard library. The standard
/// distributions do not.
class Random {
 public:
  explicit Random(std::uint64_t randomState) : engine_(randomState) {}

  std::uint64_t Next() { return engine_(); }
  /// Returns a random number from 0 to `limit` - 1.
  int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint64_t>(limit)); }
  /// Returns a random number from `least` to `most`.
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

/// Returns a non-empty record of arbitrary bytes. The length field of most records is correct.
Bytes RandomRecord(Random& random, Layout layout);

/// Returns a random record of the given size.
/// @param size       at least 7 bytes
/// @param tellsMore  true: the length field is too large by one
Bytes RecordOfSize(Random& random, Layout layout, int size, bool tellsMore);

/// Returns consecutive records, some of them erased. The last one may be incomplete.
Bytes RandomRecords(Random& random, Layout layout, int records);

/// Returns random settings. Some numbers are out of range.
Choices RandomChoices(Random& random);

}  // namespace quillet::oracle
