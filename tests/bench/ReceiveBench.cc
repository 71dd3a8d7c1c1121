// Measures the receive path without a serial line: receives a burst, composes its lines and stores
// them. Baseline: a loop that stores each byte and checks whether it was the last. The counter
// "stored" is the number of bytes stored per second: received bytes, composed lines and log lines.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "device/Lumet.h"
#include "simulator/RecordGenerator.h"
#include "tests/support/ScriptedSession.h"

namespace {

using namespace quillet;

constexpr std::size_t kChunk = 4096;

class CountingLog final : public SystemLog {
 public:
  void Write(std::string_view line) override {
    benchmark::DoNotOptimize(line.data());
    bytes += line.size();
  }
  std::size_t bytes = 0;
};

class Collector final : public LumetDelegate {
 public:
  void TavoInitializationDone(bool) override {}
  void DisplayBarcode(const std::string& record) override { lines.append(record); }
  void SynchronizeFinished() override {}
  std::string lines;
};

// Returns a burst of at most `size` bytes in the scanner's format.
std::vector<std::uint8_t> Burst(std::size_t size) {
  std::vector<std::uint8_t> burst(3);
  burst.reserve(size);
  const auto records = simulator::StockTaking(1000, simulator::Model::kOlder);
  for (std::size_t i = 0;; ++i) {
    const simulator::Bytes record = Encode(records[i % records.size()], simulator::Model::kOlder);
    if (burst.size() + record.size() > size) break;
    burst.insert(burst.end(), record.begin(), record.end());
  }
  burst[0] = static_cast<std::uint8_t>(burst.size() >> 16);
  burst[1] = static_cast<std::uint8_t>(burst.size() >> 8);
  burst[2] = static_cast<std::uint8_t>(burst.size());
  return burst;
}

void ReceivePath(benchmark::State& benchmark) {
  static auto& log = *new CountingLog;
  static auto& owner = *new Collector;
  static auto& session = *new test::ScriptedSession(log, &owner);
  Lumet& lumet = session.lumet;
  lumet.bAttachType = lumet.bAttachSerial = lumet.bAttachTimestamp = 1;
  lumet.datadelimiter = 3;
  const auto burst = Burst(static_cast<std::size_t>(benchmark.range(0)));
  log.bytes = 0;
  for (auto _ : benchmark) {
    owner.lines.clear();
    session.SendBurst();
    for (std::size_t sent = 0; sent < burst.size(); sent += kChunk) {
      const std::size_t count = std::min(kChunk, burst.size() - sent);
      lumet.DataFromDevice(burst.data() + sent, static_cast<std::int32_t>(count));
    }
    if (!lumet.bCommandDone()) benchmark.SkipWithError("the burst was not completed");
    session.DropQueue();
  }
  benchmark.SetBytesProcessed(static_cast<std::int64_t>(benchmark.iterations() * burst.size()));
  const std::size_t kept = benchmark.iterations() * (burst.size() + owner.lines.size());
  benchmark.counters["stored"] = {static_cast<double>(kept + log.bytes),
                                  benchmark::Counter::kIsRate};
}
BENCHMARK(ReceivePath)->Arg(1 << 20)->Arg(2 << 20)->Arg(4 << 20)->Unit(benchmark::kMillisecond);

void BareLoop(benchmark::State& benchmark) {
  const auto burst = Burst(static_cast<std::size_t>(benchmark.range(0)));
  std::vector<std::uint8_t> buffer(burst.size());
  for (auto _ : benchmark) {
    std::size_t stored = 0;
    for (const std::uint8_t byte : burst) {
      buffer[stored++] = byte;
      benchmark::DoNotOptimize(stored);
      if (stored == burst.size()) benchmark::ClobberMemory();
    }
  }
  benchmark.SetBytesProcessed(static_cast<std::int64_t>(benchmark.iterations() * burst.size()));
}
BENCHMARK(BareLoop)->Arg(4 << 20)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
