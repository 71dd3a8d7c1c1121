#pragma once

#include <cstdint>

namespace quillet {

/// Consecutive composed lines, numbered from 0 in the order of the calls to RunArchive::KeepLine.
struct LineRange {
  std::int64_t first = 0;  ///< number of the first line
  std::int64_t end = 0;    ///< number of the line after the last one
};

}  // namespace quillet
