#pragma once

#include <cstdio>

namespace quillet::bench {

/// Prints what was measured in one round, for tests/bench/run to gather.
/// @param name     of the figure, as that script has it
/// @param ours     what the program takes
/// @param against  what it is held against, in the same unit
inline void PrintFigure(const char* name, double ours, double against) {
  std::printf("figure\t%s\t%.9g\t%.9g\n", name, ours, against);
  std::fflush(stdout);
}

}  // namespace quillet::bench
