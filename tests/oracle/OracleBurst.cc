#include "tests/oracle/OracleBurst.h"

namespace quillet::oracle {

std::vector<Visit> WalkBurst(const Memory& memory, std::int64_t received, Layout layout) {
  const bool older = layout == Layout::kOlder;
  std::vector<Visit> visits;
  std::int64_t offset = 3;
  while (offset < received) {
    const std::int64_t step = older ? memory.At(offset) + 1 : memory.PairAt(offset);
    const int symbology = memory.At(offset + (older ? 1 : 2));
    // Without a length it would be met again for ever; one that runs out of the memory was not
    // scanned.
    const bool last = step == 0 || offset + step > memory.Size();
    visits.push_back({offset, step, symbology == 0xFF, last});
    if (last) break;
    offset += step;
  }
  return visits;
}

}  // namespace quillet::oracle
