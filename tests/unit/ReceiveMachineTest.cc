#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "device/ReceiveMachine.h"

namespace quillet {
namespace {

using namespace std::string_literals;
using Event = ReceiveMachine::Event;

constexpr std::string_view kEventNames[] = {"none", "answer", "frame", "burst", "unsolicited"};

/// A receive machine that is reset after each event. Stores each event as text:
/// "event:received bytes".
struct Receiver {
  explicit Receiver(bool commandWaits) : commandDone(commandWaits ? 0 : 1) {}

  void Take(std::string_view text) {
    std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    while (!bytes.empty()) {
      const auto [taken, event] = machine.Take(bytes);
      bytes = bytes.subspan(taken);
      if (event == Event::kNone) continue;
      events.push_back(std::string(kEventNames[static_cast<int>(event)]) + ":" + Unit());
      machine.Reset();
    }
  }

  std::string Unit() const {
    const auto* bytes = reinterpret_cast<const char*>(machine.RxBuffer().data());
    return {bytes, static_cast<std::size_t>(machine.writePtr())};
  }

  Word<std::uint8_t> commandDone;
  ReceiveMachine machine{commandDone};
  std::vector<std::string> events;
};

// The answer that the session expects when the bytes arrive. kBurstOnly: a burst is still expected,
// although its command has timed out.
enum Waits { kNothing, kAnswer, kBurst, kBurstOnly };

struct Case {
  const char* name;
  Waits waits;
  std::string bytes;
  std::vector<std::string> events;
  std::int32_t state = 0;  // a ReceiveState
};

std::ostream& operator<<(std::ostream& out, const Case& one) {
  return out << one.name;
}

const std::string k500Bytes(500, '@');
const std::string k297Bytes(297, 'x');

const Case kCases[] = {
    {"AnswerWithAt", kAnswer, "0123456789@", {"answer:0123456789@"}},
    {"AnswerWithExclamationMark", kAnswer, "ab!", {"answer:ab!"}},
    {"OnlyATerminator", kAnswer, "!", {"answer:!"}},
    {"TwoAnswers", kAnswer, "a@b!", {"answer:a@", "answer:b!"}},
    {"UnfinishedAnswer", kAnswer, "abc", {}},
    {"AnswerWithoutACommand", kNothing, "abc@", {}},
    {"FrameStartInsideAnAnswer", kAnswer, "A\x03"s + "B@", {"answer:A\x03"s + "B@"}},
    {"Frame", kAnswer, "\x03\0\0\x06"s + "abc", {"frame:\0\0\x06"s + "abc"}},
    {"FrameWithAt", kAnswer, "\x03\0\0\x06"s + "@!@", {"frame:\0\0\x06"s + "@!@"}},
    {"UnfinishedFrame", kAnswer, "\x03\0\0\x06"s + "ab", {}, 11},
    {"PartOfAFrameLength", kAnswer, "\x03\0"s, {}, 10},
    {"FrameThenAnswer", kAnswer, "\x03\0\0\4ab@"s, {"frame:\0\0\4a"s, "answer:b@"}},
    {"UnsolicitedFrame", kNothing, "\x03\0\0\x06"s + "abc@", {"unsolicited:"}},
    {"UnsolicitedFrameThenNoise", kNothing, "\x03\0\0\x06"s + "abcx!y@", {"unsolicited:"}},
    {"UnsolicitedFrameWithoutEnd", kNothing, "\x03\0\0\x06"s + "abc", {}, 12},
    {"NoiseThenUnsolicitedFrame", kNothing, "zz\x03\0\0\4a@"s, {"unsolicited:"}},
    {"Burst", kBurst, "\0\0\x06"s + "abc", {"burst:\0\0\x06"s + "abc"}},
    {"BurstWithoutACommand", kBurstOnly, "\0\0\5@!"s, {"burst:\0\0\5@!"s}},
    {"UnfinishedBurst", kBurst, "\0\0\x06"s + "ab", {}, 31},
    {"BurstThenNoise", kBurstOnly, "\0\0\4axyz"s, {"burst:\0\0\4a"s}},
    {"FrameOfLengthZero", kAnswer, "\x03\0\0\0"s + k500Bytes, {}, 11},
    {"FrameOfLengthThree", kAnswer, "\x03\0\0\x03"s + k500Bytes, {}, 11},
    {"BurstOfLengthTwo", kBurst, "\0\0\x02"s + k500Bytes, {}, 31},
    {"BurstOfLengthThree", kBurst, "\0\0\x03"s + k500Bytes, {}, 31},
    {"LongFrame",
     kAnswer,
     "\x03\0\1\x2C"s + k297Bytes + "y@",
     {"frame:\0\1\x2C"s + k297Bytes, "answer:y@"}},
};

class ReceiveMachineTest : public testing::TestWithParam<Case> {
 protected:
  void Restart() {
    receiver->machine.Reset();
    receiver->events.clear();
    if (GetParam().waits >= kBurst) receiver->machine.ExpectBurst();
  }
  void Check() const {
    EXPECT_EQ(receiver->events, GetParam().events);
    EXPECT_EQ(receiver->machine.state(), GetParam().state);
  }

  const bool commandWaits_ = GetParam().waits == kAnswer || GetParam().waits == kBurst;
  const std::unique_ptr<Receiver> receiver = std::make_unique<Receiver>(commandWaits_);
};

TEST_P(ReceiveMachineTest, ReturnsTheSameEventsHoweverTheBytesAreSplit) {
  const std::string_view bytes = GetParam().bytes;
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    Restart();
    receiver->Take(bytes.substr(0, cut));
    receiver->Take(bytes.substr(cut));
    Check();
  }
  Restart();
  for (const char& byte : bytes) receiver->Take({&byte, 1});
  Check();
}

INSTANTIATE_TEST_SUITE_P(Bytes, ReceiveMachineTest, testing::ValuesIn(kCases),
                         [](const auto& one) { return one.param.name; });

TEST(ReceiveMachineLimits, TakeReturnsAfterEachEvent) {
  const Word<std::uint8_t> waiting = 0;
  const auto machine = std::make_unique<ReceiveMachine>(waiting);
  const std::uint8_t bytes[] = {'a', '@', 'b', '@'};
  const auto step = machine->Take(bytes);
  EXPECT_EQ(step.taken, 2U);
  EXPECT_EQ(step.event, Event::kAnswer);
  EXPECT_EQ(machine->writePtr(), 2) << "the caller still reads these bytes";
}

TEST(ReceiveMachineLimits, KeepsTheBytesOfAnUnsolicitedRecordAfterReset) {
  const auto receiver = std::make_unique<Receiver>(false);
  receiver->Take("\x03\0\0\x06"s + "abc@");
  EXPECT_EQ(receiver->machine.writePtr(), 0);
  EXPECT_TRUE(std::ranges::equal(receiver->machine.RxBuffer().subspan(3, 3), "abc"s));
}

TEST(ReceiveMachineLimits, StopsCountingBytesAtTheMaximumLength) {
  const auto receiver = std::make_unique<Receiver>(true);
  receiver->Take(std::string((1 << 24) + 10, 'x'));
  EXPECT_EQ(receiver->machine.writePtr(), 1 << 24);
  EXPECT_TRUE(receiver->events.empty());
}

TEST(ReceiveMachineLimits, CompletesABurstLargerThanTheBuffer) {
  constexpr std::int32_t kSize = ReceiveMachine::kBufferSize + 10;
  const Word<std::uint8_t> waiting = 0;
  const auto machine = std::make_unique<ReceiveMachine>(waiting);
  machine->ExpectBurst();
  std::vector<std::uint8_t> burst(kSize, 0x5A);
  burst[0] = static_cast<std::uint8_t>(kSize >> 16);
  burst[1] = static_cast<std::uint8_t>(kSize >> 8);
  burst[2] = static_cast<std::uint8_t>(kSize & 0xFF);
  EXPECT_EQ(machine->Take({burst.data(), kSize - 1}).event, Event::kNone);
  EXPECT_EQ(machine->RxBuffer().back(), 0x5A);
  EXPECT_EQ(machine->Take({burst.data(), 1}).event, Event::kBurst);
  EXPECT_EQ(machine->writePtr(), kSize);
}

// Tests random bytes, with and without the start of a valid frame.
TEST(ReceiveMachineLimits, ResultDoesNotDependOnHowRandomBytesAreSplit) {
  std::mt19937 random(20);
  const auto below = [&](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  const auto one = std::make_unique<Receiver>(true);
  const auto pieces = std::make_unique<Receiver>(true);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes(static_cast<std::size_t>(below(300)), '\0');
    for (char& byte : bytes) byte = static_cast<char>(below(256));
    if (below(2) != 0) bytes.insert(0, "\x03\0\0"s + static_cast<char>(below(256)));
    if (below(4) == 0) {
      one->machine.ExpectBurst();
      pieces->machine.ExpectBurst();
    }
    for (const char& byte : bytes) one->Take({&byte, 1});
    for (std::size_t at = 0; at < bytes.size();) {
      const auto count = static_cast<std::size_t>(1 + below(40));
      pieces->Take(std::string_view(bytes).substr(at, count));
      at += count;
    }
    ASSERT_EQ(pieces->events, one->events) << round;
    ASSERT_EQ(pieces->machine.state(), one->machine.state()) << round;
    ASSERT_EQ(pieces->Unit(), one->Unit()) << round;
    one->events.clear();
    pieces->events.clear();
    if (below(4) == 0) {
      one->machine.Reset();
      pieces->machine.Reset();
    }
  }
}

}  // namespace
}  // namespace quillet
