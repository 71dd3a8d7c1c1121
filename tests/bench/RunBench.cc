// Usage: run_bench [ROUNDS [RECORDS]] | run_bench singly | run_bench archive [ROUNDS]
//
// Measures downloading a burst to a file (default: 15 rounds of 20,000 records). The program runs
// without its window. A pseudo-terminal connects it to a simulated scanner. For each round, prints
// these times in seconds:
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
//
// With "archive", runs the program with and without the archive and prints for each round
// (default: 15):
//   archive-burst   20,000 records, unpaced, from the command "P" to the last archived line
//   archive-record  the time per record when 200 records are requested one by one and the scanner
//                   answers at once
//   archive-burst-processor   processor time of the read thread from the end of the transfer to
//                             the last archived line
//   archive-record-processor  processor time of the read thread per record

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
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

// Starts the program with a simulated scanner and measures how long each synchronization takes.
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

// The baseline: reads bursts from a scanner and discards them.
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

// The scanner's latency of 20 ms exceeds the pause after a command, so each command takes one poll
// interval of 0.1 s.
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

// Measures runs of the program with or without its archive.
class ArchivedRuns {
 public:
  ArchivedRuns(std::size_t records, SystemLog& log, bool burst, bool archived)
      : scanner_(StartScanner(records, 0)),
        program_(scanner_, log, burst),
        archive_(program_.WatchArchive(archived)),
        watch_(program_.owner()) {
    program_.setWatch(watch_);
  }

  struct Cost {
    double time;
    double processor;  // CPU time of the read thread in seconds
  };

  Cost Burst() {
    const std::size_t earlier = scanner_.CountOf("P");
    watch_.Expect(scanner_.Records().size());
    program_.StartRun();
    AwaitCommand(scanner_, earlier);
    const auto start = Clock::now();
    program_.AwaitEndOfRun();
    return {Seconds(archive_.delivered() - start), archive_.ProcessorTime()};
  }

  Cost PerRecord() {
    const std::size_t records = scanner_.Records().size();
    watch_.Expect(records);
    program_.StartRun();
    program_.AwaitEndOfRun();
    const auto steps = static_cast<double>(records - 1);
    return {Seconds(watch_.last() - watch_.first()) / steps, watch_.ProcessorTime() / steps};
  }

 private:
  simulator::Simulator& scanner_;
  WholeProgram program_;
  const ArchiveWatch& archive_;
  RecordWatch watch_;
};

using Measurement = ArchivedRuns::Cost (ArchivedRuns::*)();

// Runs the program with and without the archive. Alternates the order from round to round.
void CompareArchive(const std::string& name, Measurement measure, std::size_t rounds,
                    std::size_t records) {
  static NoLog noLog;  // no log, to maximize the archive's share of the time
  const bool burst = measure == &ArchivedRuns::Burst;
  ArchivedRuns archived(records, noLog, burst, true);
  ArchivedRuns plain(records, noLog, burst, false);
  for (std::size_t round = 0; round < rounds; ++round) {
    ArchivedRuns::Cost without{};
    if (round % 2 == 0) without = (plain.*measure)();
    const ArchivedRuns::Cost with = (archived.*measure)();
    if (round % 2 != 0) without = (plain.*measure)();
    PrintFigure(name.c_str(), with.time, without.time);
    PrintFigure((name + "-processor").c_str(), with.processor, without.processor);
  }
}

}  // namespace

int main(int argc, char** argv) {
  static auto& systemLog = *new platform::posix::SyslogLog;
  if (argc > 1 && std::string_view(argv[1]) == "singly") {
    MeasureSingly(systemLog);
    _exit(0);
  }
  if (argc > 1 && std::string_view(argv[1]) == "archive") {
    const std::size_t rounds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 15;
    CompareArchive("archive-burst", &ArchivedRuns::Burst, rounds, 20000);
    CompareArchive("archive-record", &ArchivedRuns::PerRecord, rounds, 200);
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
