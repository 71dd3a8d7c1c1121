#pragma once

#include "platform/posix/PosixSerialLine.h"
#include "tests/support/Immortal.h"

namespace quillet::test {

/// Returns the SerialLine of the system, for tests with pseudo-terminals and FIFOs.
inline platform::SerialLine& SystemLine() {
  static platform::SerialLine& line = Immortal<platform::posix::PosixSerialLine>();
  return line;
}

}  // namespace quillet::test
