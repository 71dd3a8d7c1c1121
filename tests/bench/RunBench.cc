// A burst of 20,000 records to a file, through the whole program but for its window, over a
// pseudo-terminal. Printed, in seconds, for each round:
//   unpaced  from the moment at which the scanner has "P" to the last record composed, with a log
//            that somebody listens to, beside the same scanner's answer to "P" read by the same
//            poll and nothing else
//   tail     of it: from the first record composed, which is behind the last byte received, to the
//            last, beside all of it
//   log      the same run beside one with a log that goes nowhere
//   syslog   the same run with this system's syslog(3), beside the same poll: where there is no log
//            daemon each line costs a search for one
//   paced    once: the run at 115200 bit/s, beside the time that its line needs
//   record   instead of these, with "singly": from one record composed to the next, records being
//            requested one by one, beside the pauses that are part of the protocol: a millisecond
//            for each byte of the command and the poll of 0.1 s for its answer
//
// Usage: run_bench [ROUNDS [RECORDS]] | run_bench singly

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/posix/SyslogLog.h"
#include "tests/bench/Figure.h"
#include "tests/bench/LogListener.h"
#include "tests/bench/WholeProgram.h"

namespace {

using namespace quillet;
using namespace quillet::bench;

constexpr std::uint64_t kLineSpeed = 115200;

std::size_t BurstBytes(const simulator::Simulator& scanner) {
  std::size_t bytes = 3;
  for (const auto& record : scanner.Records()) {
    bytes += Encode(record, simulator::Model::kOlder).size();
  }
  return bytes;
}

void AwaitCommand(const simulator::Simulator& scanner, std::size_t earlier) {
  Await([&] { return scanner.CountOf("P") > earlier; });
}

struct Taken {
  double whole;  // from "P" to the last record
  double tail;   // of that, from the first record
};

// The program, collecting from a scanner of its own.
class Collector {
 public:
  Collector(simulator::Simulator& scanner, SystemLog& log)
      : scanner_(scanner), program_(scanner, log), watch_(program_.owner()) {
    program_.setWatch(watch_);
  }

  Taken Once() {
    const std::size_t earlier = scanner_.CountOf("P");
    watch_.Expect(scanner_.Records().size());
    program_.StartRun();
    AwaitCommand(scanner_, earlier);
    const auto start = Clock::now();
    program_.AwaitEndOfRun();
    return {Seconds(watch_.last() - start), Seconds(watch_.last() - watch_.first())};
  }

 private:
  simulator::Simulator& scanner_;
  WholeProgram program_;
  RecordWatch watch_;
};

// The other end of a scanner's line, from which a burst is read and dropped.
class BarePoll {
 public:
  explicit BarePoll(simulator::Simulator& scanner)
      : scanner_(scanner),
        bytes_(BurstBytes(scanner)),
        line_(open(scanner.Path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {
    termios settings{};
    tcgetattr(line_, &settings);
    cfmakeraw(&settings);
    tcsetattr(line_, TCSANOW, &settings);
  }

  double Once() {
    const std::size_t earlier = scanner_.CountOf("P");
    if (write(line_, "P", 1) != 1) std::abort();
    AwaitCommand(scanner_, earlier);
    const auto start = Clock::now();
    char buffer[10240];
    for (std::size_t received = 0; received < bytes_;) {
      clock_.Sleep(std::chrono::microseconds(200));
      const ssize_t count = read(line_, buffer, sizeof buffer);
      if (count > 0) received += static_cast<std::size_t>(count);
    }
    return Seconds(Clock::now() - start);
  }

 private:
  simulator::Simulator& scanner_;
  platform::posix::PosixClock clock_;
  const std::size_t bytes_;
  const int line_;
};

// The scanner answers after 20 ms: one that answers within the pause after the last byte of its
// command needs no poll.
void MeasureSingly(SystemLog& log) {
  constexpr std::size_t kRecords = 100;
  WholeProgram program(StartScanner(kRecords, 0, std::chrono::milliseconds(20)), log, false);
  program.StartRun();
  Clock::time_point last;
  for (std::size_t i = 0; i < kRecords; ++i) {
    Await([&] { return static_cast<std::size_t>(program.records()) > i; });
    const auto composed = Clock::now();
    char command[32];
    const double bytes = std::snprintf(command, sizeof command, "p%zx#", i);
    if (i > 0) PrintFigure("record", Seconds(composed - last), 0.1 + 0.001 * bytes);
    last = composed;
  }
  program.AwaitEndOfRun();
}

}  // namespace

int main(int argc, char** argv) {
  static auto& unheard = *new platform::posix::SyslogLog;
  if (argc > 1 && std::string_view(argv[1]) == "singly") {
    MeasureSingly(unheard);
    _exit(0);
  }
  const std::size_t rounds = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 15;
  const std::size_t records = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 20000;
  static const LogListener listener;
  static NoLog nowhere;
  static auto& log =
      *new platform::posix::SyslogLog([](std::string_view message) { listener.Send(message); });

  BarePoll bare(StartScanner(records, 0));
  Collector usual(StartScanner(records, 0), log);
  Collector silent(StartScanner(records, 0), nowhere);
  Collector alone(StartScanner(records, 0), unheard);
  for (std::size_t round = 0; round < rounds; ++round) {
    const Taken taken = usual.Once();
    const double polled = bare.Once();
    PrintFigure("unpaced", taken.whole, polled);
    PrintFigure("tail", taken.tail, taken.whole);
    PrintFigure("log", taken.whole, silent.Once().whole);
    PrintFigure("syslog", alone.Once().whole, polled);
  }

  auto& slow_scanner = StartScanner(records, kLineSpeed);
  Collector paced(slow_scanner, log);
  PrintFigure("paced", paced.Once().whole,
              static_cast<double>(BurstBytes(slow_scanner)) * 10 / kLineSpeed);
  _exit(0);
}
