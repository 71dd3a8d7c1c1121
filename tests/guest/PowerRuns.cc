// Usage: power_runs run FOLDER RUNS RANDOM_STATE | power_runs list FOLDER
//
// run   downloads records from a simulated scanner and erases it, RUNS times. Quillet runs without
//       its window. The archive and the output file are below FOLDER. FOLDER need not exist.
//       Before each run, prints "run PID NUMBER" and the scanner's records in hexadecimal. PID is
//       the process ID. NUMBER is the number of the run's first erase command, counted from 1
//       across all runs; a record-by-record run sends two erase commands.
// list  prints the records in all archives below FOLDER in hexadecimal, one per line.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "output/RecordsFile.h"
#include "tests/bench/LogListener.h"
#include "tests/bench/WholeProgram.h"

namespace {

using namespace quillet;

constexpr auto kModel = simulator::Model::kOlder;
constexpr auto kPatience = std::chrono::seconds(120);

void PrintHexadecimal(std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) std::printf("%02x", byte);
}

// Creates up to 6 records, or up to 300 for some bursts. The texts are different in each run.
std::vector<simulator::ScanRecord> SomeRecords(int run, bool burst, std::mt19937& random) {
  std::size_t count = 1 + random() % 6;
  if (burst && run % 4 == 0) count = 1 + random() % 300;
  std::vector<simulator::ScanRecord> records;
  for (std::size_t i = 0; i < count; ++i) {
    std::string text = std::to_string(getpid()) + "-" + std::to_string(run) + "-";
    text += std::to_string(i) + "-" + std::string(random() % 200, 'x');
    records.push_back(simulator::MakeRecord(1, text, simulator::kFirstMoment));
  }
  return records;
}

int EraseRepeatedly(const std::string& folder, int runs, unsigned randomState) {
  std::mt19937 random(randomState);
  NoLog log;
  simulator::Simulator& scanner = bench::StartScanner(0, 0);
  bench::WholeProgram program(scanner, log, true, folder + "/state/quillet/runs");
  Lumet& session = *program.controller().lumet;
  session.bClearMemory = 1;
  session.filename.Set(folder + "/out.txt");
  std::size_t erased = 0;
  for (int run = 1; run <= runs; ++run) {
    session.bBurstSync = run % 3 != 0;
    session.bAppendData = random() % 2;
    session.destination = static_cast<std::int32_t>(random() % 2);
    const auto records = SomeRecords(run, session.bBurstSync, random);
    scanner.SetRecords(records);
    std::printf("run %d %zu", getpid(), erased + 1);
    for (const auto& record : records) {
      std::printf(" ");
      PrintHexadecimal(Encode(record, kModel));
    }
    std::printf("\n");
    std::fflush(stdout);
    program.StartRun();
    program.AwaitEndOfRun();
    erased += session.bBurstSync ? 1 : 2;
    if (!scanner.WaitForCommand("E", erased, kPatience)) {
      std::fprintf(stderr, "run %d: the scanner was not erased\n", run);
      return 1;
    }
  }
  return 0;
}

int List(const std::string& folder) {
  for (const auto& item : std::filesystem::recursive_directory_iterator(folder)) {
    if (item.path().extension() != ".records") continue;
    const auto contents = test::FileContents(item.path());
    if (!contents) return 1;
    ReadRecordsFile(*contents, [](const ScannerIdentity&, const Settings&,
                                  std::span<const std::uint8_t> record) {
      PrintHexadecimal(record);
      std::printf("\n");
    });
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view action = count > 2 ? arguments[1] : "";
  int status = 2;
  if (action == "list") status = List(arguments[2]);
  if (action == "run" && count == 5) {
    status = EraseRepeatedly(arguments[2], std::atoi(arguments[3]),
                             static_cast<unsigned>(std::atol(arguments[4])));
  }
  // Skips destructors, because the session's threads are still running.
  std::fflush(stdout);
  std::_Exit(status);
}
