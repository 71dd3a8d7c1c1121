// Usage: run_bench [ROUNDS [RECORDS]] | run_bench singly
//
// Measures downloading a burst to a file (default: 15 rounds of 20,000 records). The program runs
// without its window and is connected over a pseudo-terminal. Prints in seconds, for each round:
//   unpaced  from the command "P" to the last record, with a log listener; baseline: a poll loop
//            that only reads the same burst
//   tail     from the first record to the last; baseline: the program's "unpaced" time
//   log      the program's "unpaced" time; baseline: the same without a log
//   syslog   like "unpaced", but with the system's syslog(3)
// and once:
//   paced    the same run at 115200 bit/s; baseline: the transfer time of the burst
//
// With "singly", prints the time per record when records are requested one by one:
//   record   baseline: the pauses of the protocol, 1 ms per byte of the command and 0.1 s per poll

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/posix/SyslogLog.h"
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

struct RunTime {
  double whole;  // seconds from command "P" to the last record
  double tail;   // seconds from the first record to the last
};

// The program, connected to a simulated scanner.
class Collector {
 public:
  Collector(simulator::Simulator& scanner, SystemLog& log)
      : scanner_(scanner), program_(scanner, log), watch_(program_.owner()) {
    program_.setWatch(watch_);
  }

  RunTime Once() {
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

// Reads bursts from a scanner and drops them.
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

// The latency of 20 ms is longer than the pause after a command. Each command therefore takes one
// poll interval of 0.1 s.
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
  static auto& systemLog = *new platform::posix::SyslogLog;
  if (argc > 1 && std::string_view(argv[1]) == "singly") {
    MeasureSingly(systemLog);
    _exit(0);
  }
  const std::size_t rounds = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 15;
  const std::size_t records = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 20000;
  static const LogListener listener;
  static NoLog noLog;
  static auto& log =
      *new platform::posix::SyslogLog([](std::string_view message) { listener.Send(message); });

  BarePoll bare(StartScanner(records, 0));
  Collector heard(StartScanner(records, 0), log);
  Collector silent(StartScanner(records, 0), noLog);
  Collector unheard(StartScanner(records, 0), systemLog);
  for (std::size_t round = 0; round < rounds; ++round) {
    const RunTime time = heard.Once();
    const double polled = bare.Once();
    PrintFigure("unpaced", time.whole, polled);
    PrintFigure("tail", time.tail, time.whole);
    PrintFigure("log", time.whole, silent.Once().whole);
    PrintFigure("syslog", unheard.Once().whole, polled);
  }

  auto& pacedScanner = StartScanner(records, kLineSpeed);
  Collector paced(pacedScanner, log);
  PrintFigure("paced", paced.Once().whole,
              static_cast<double>(BurstBytes(pacedScanner)) * 10 / kLineSpeed);
  _exit(0);
}
