#pragma once

#include <cstdint>
#include <vector>

#include "tests/oracle/OracleLine.h"

namespace quillet::oracle {

/// One record that the walk through a burst came upon.
struct Visit {
  std::int64_t offset = 0;  ///< where it begins
  std::int64_t step = 0;    ///< how far it is to the next one
  bool erased = false;      ///< it makes no line
  bool last = false;        ///< it makes none either, and nothing behind it is looked at
};

/// The records of a burst of `received` bytes, its own length's three among them.
std::vector<Visit> WalkBurst(const Memory& memory, std::int64_t received, Layout layout);

}  // namespace quillet::oracle
