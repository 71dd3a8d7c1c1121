#pragma once

#include <chrono>
#include <cstdio>

namespace quillet::bench {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

/// Prints the result of one round in the format that tests/bench/table.py reads.
/// @param name      name of the table row
/// @param ours      Quillet's result
/// @param baseline  the baseline's result, in the same unit
inline void PrintFigure(const char* name, double ours, double baseline) {
  std::printf("figure\t%s\t%.9g\t%.9g\n", name, ours, baseline);
  std::fflush(stdout);
}

}  // namespace quillet::bench
