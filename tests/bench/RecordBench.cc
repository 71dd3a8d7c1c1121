// Records asked for one by one, through the whole program but for its window, over a
// pseudo-terminal. Printed for each record but the first, in seconds:
//   record  from the record before it to this one, beside the pauses that are part of the protocol:
//           a millisecond for each byte of the command and the poll for its answer of 0.1 s
//
// Usage: record_bench [RECORDS]

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/posix/SyslogLog.h"
#include "tests/bench/Figure.h"
#include "tests/bench/WholeProgram.h"

namespace {

using namespace quillet;
using namespace quillet::bench;

// A scanner takes its time, so that the first look at whether it has answered comes too early. One
// that answers within the pause behind the last byte of its command spares the poll.
constexpr std::chrono::milliseconds kLatency{20};
constexpr double kPoll = 0.1;
constexpr double kPausePerByte = 0.001;

double CommandBytes(std::size_t index) {
  char command[32];
  return std::snprintf(command, sizeof command, "p%zx#", index);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t records = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100;
  static auto& log = *new platform::posix::SyslogLog;
  WholeProgram program(StartScanner(records, 0, kLatency), log, false);
  std::vector<Clock::time_point> composed;
  program.StartRun();
  while (composed.size() < records) {
    Await([&] { return static_cast<std::size_t>(program.records()) > composed.size(); });
    composed.push_back(Clock::now());
  }
  program.AwaitEndOfRun();
  // Behind a record's last byte comes the poll for it; then the next one's command is sent.
  for (std::size_t i = 1; i < records; ++i) {
    PrintFigure("record", Seconds(composed[i] - composed[i - 1]),
                kPoll + kPausePerByte * CommandBytes(i));
  }
  _exit(0);
}
