#include <thread>

#include "base/SystemLog.h"
#include "platform/posix/SyslogLog.h"
#include "tests/contract/Contract.h"
#include "tests/support/RecordingLog.h"

namespace quillet::test {
namespace {

using Lines = std::vector<std::string>;

class LogHarness {
 public:
  virtual ~LogHarness() = default;
  virtual SystemLog& Log() = 0;
  /// Waits until all written lines have arrived and returns them.
  virtual Lines Arrived() = 0;
};

struct FakeLogHarness final : LogHarness {
  static constexpr char kName[] = "Fake";
  SystemLog& Log() override { return log; }
  Lines Arrived() override { return log.lines(); }

  RecordingLog log;
};

struct SyslogHarness final : LogHarness {
  static constexpr char kName[] = "Syslog";
  SystemLog& Log() override { return log; }
  Lines Arrived() override {
    EXPECT_TRUE(log.Flush(std::chrono::minutes(1)));
    return arrived;
  }

  Lines arrived;  // written by the log's thread; read only after Flush()
  platform::posix::SyslogLog log{
      [this](std::string_view message) { arrived.emplace_back(message); }};
};

class SystemLogContract : public Contract<LogHarness> {
 protected:
  SystemLog& log_ = harness_->Log();
};

TEST_P(SystemLogContract, WritesEveryByteAndKeepsTheLineOrder) {
  Lines expected;
  for (int i = 0; i < 10'000; ++i) {
    expected.push_back(i % 7 == 0 ? "" : "line " + std::to_string(i) + " of 100% %s \xC3\xA9\x80");
    log_.Write(expected.back());
  }
  EXPECT_EQ(harness_->Arrived(), expected);
}

TEST_P(SystemLogContract, PreservesLineOrderWithinEachThread) {
  constexpr std::size_t kThreads = 4;
  constexpr int kLines = 5'000;
  std::vector<std::thread> writers;
  for (std::size_t t = 0; t < kThreads; ++t) {
    writers.emplace_back([this, t] {
      for (int i = 0; i < kLines; ++i) log_.Write(std::to_string(t) + ":" + std::to_string(i));
    });
  }
  for (std::thread& writer : writers) writer.join();
  std::vector<int> next(kThreads, 0);
  for (const std::string& line : harness_->Arrived()) {
    const auto thread = static_cast<std::size_t>(line[0] - '0');
    EXPECT_EQ(line, std::to_string(thread) + ":" + std::to_string(next[thread]++));
  }
  EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

TEST_P(SystemLogContract, AcceptsLinesOfAnyLength) {
  const std::string large(9'000'000, 'x');
  for (const std::string& line : {std::string("before"), large, large, std::string("after")}) {
    log_.Write(line);
  }
  std::string all;
  for (const std::string& line : harness_->Arrived()) all += line;
  EXPECT_TRUE(all == "before" + large + large + "after");
}

INSTANTIATE_TEST_SUITE_P(Log, SystemLogContract,
                         (Implementations<LogHarness, FakeLogHarness, SyslogHarness>()), kNameOf);

}  // namespace
}  // namespace quillet::test
