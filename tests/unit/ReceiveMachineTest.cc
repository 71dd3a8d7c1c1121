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

/// A machine whose caller handles every event at once, and keeps "event:unit".
class Receiver {
 public:
  explicit Receiver(bool commandWaits) : commandDone_(commandWaits ? 0 : 1) {}

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

 private:
  Word<std::uint8_t> commandDone_;

 public:
  ReceiveMachine machine{commandDone_};
  std::vector<std::string> events;
};

struct Case {
  const char* name;
  bool commandWaits;
  bool burst;
  std::string bytes;
  std::vector<std::string> events;
  std::int32_t state;
};

std::ostream& operator<<(std::ostream& out, const Case& one) {
  return out << one.name;
}

const Case kCases[] = {
    {"AnswerWithAt", true, false, "0123456789@", {"answer:0123456789@"}, 0},
    {"AnswerWithExclamationMark", true, false, "ab!", {"answer:ab!"}, 0},
    {"OnlyATerminator", true, false, "!", {"answer:!"}, 0},
    {"TwoAnswers", true, false, "a@b!", {"answer:a@", "answer:b!"}, 0},
    {"UnfinishedAnswer", true, false, "abc", {}, 0},
    {"AnswerThatNoCommandWaitsFor", false, false, "abc@", {}, 0},
    {"FrameStartInsideAnAnswer", true, false, "A\x03"s + "B@", {"answer:A\x03"s + "B@"}, 0},
    {"Frame", true, false, "\x03\0\0\x06"s + "abc", {"frame:\0\0\x06"s + "abc"}, 0},
    {"FrameWithAt", true, false, "\x03\0\0\x06"s + "@!@", {"frame:\0\0\x06"s + "@!@"}, 0},
    {"UnfinishedFrame", true, false, "\x03\0\0\x06"s + "ab", {}, 11},
    {"FrameLengthOnly", true, false, "\x03\0"s, {}, 10},
    {"FrameThenAnswer",
     true,
     false,
     "\x03\0\0\x04"s + "ab@",
     {"frame:\0\0\x04"s + "a", "answer:b@"},
     0},
    {"UnsolicitedFrame", false, false, "\x03\0\0\x06"s + "abc@", {"unsolicited:"}, 0},
    {"UnsolicitedFrameAfterNoise", false, false, "\x03\0\0\x06"s + "abcx!y@", {"unsolicited:"}, 0},
    {"UnsolicitedFrameWithoutEnd", false, false, "\x03\0\0\x06"s + "abc", {}, 12},
    {"NoiseThenUnsolicitedFrame", false, false, "zz\x03\0\0\x04"s + "a@", {"unsolicited:"}, 0},
    {"Burst", true, true, "\0\0\x06"s + "abc", {"burst:\0\0\x06"s + "abc"}, 0},
    {"BurstThatNoCommandWaitsFor", false, true, "\0\0\x05"s + "@!", {"burst:\0\0\x05"s + "@!"}, 0},
    {"UnfinishedBurst", true, true, "\0\0\x06"s + "ab", {}, 31},
    {"BurstThenNoise", false, true, "\0\0\x04"s + "axyz", {"burst:\0\0\x04"s + "a"}, 0},
    {"FrameOfLengthZero", true, false, "\x03\0\0\0"s + std::string(500, '@'), {}, 11},
    {"FrameOfLengthThree", true, false, "\x03\0\0\x03"s + std::string(500, '@'), {}, 11},
    {"BurstOfLengthTwo", true, true, "\0\0\x02"s + std::string(500, '@'), {}, 31},
    {"BurstOfLengthThree", true, true, "\0\0\x03"s + std::string(500, '@'), {}, 31},
    {"LongFrame",
     true,
     false,
     "\x03\0\x01\x2C"s + std::string(297, 'x') + "y@",
     {"frame:\0\x01\x2C"s + std::string(297, 'x'), "answer:y@"},
     0},
};

class ReceiveMachineTest : public testing::TestWithParam<Case> {
 protected:
  static void Check(Receiver& receiver) {
    EXPECT_EQ(receiver.events, GetParam().events);
    EXPECT_EQ(receiver.machine.state(), GetParam().state);
  }
  static std::unique_ptr<Receiver> Make() {
    auto receiver = std::make_unique<Receiver>(GetParam().commandWaits);
    if (GetParam().burst) receiver->machine.ExpectBurst();
    return receiver;
  }
};

TEST_P(ReceiveMachineTest, GivesTheSameEventsAtEverySplit) {
  const std::string_view bytes = GetParam().bytes;
  const auto receiver = Make();
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    receiver->machine.Reset();
    if (GetParam().burst) receiver->machine.ExpectBurst();
    receiver->events.clear();
    receiver->Take(bytes.substr(0, cut));
    receiver->Take(bytes.substr(cut));
    Check(*receiver);
  }
}

TEST_P(ReceiveMachineTest, GivesTheSameEventsByteByByte) {
  const auto receiver = Make();
  for (const char byte : GetParam().bytes) receiver->Take({&byte, 1});
  Check(*receiver);
}

INSTANTIATE_TEST_SUITE_P(Bytes, ReceiveMachineTest, testing::ValuesIn(kCases),
                         [](const auto& one) { return one.param.name; });

TEST(ReceiveMachineLimits, StopsTakingAtEachEvent) {
  const Word<std::uint8_t> waiting = 0;
  const auto machine = std::make_unique<ReceiveMachine>(waiting);
  const std::uint8_t bytes[] = {'a', '@', 'b', '@'};
  const auto step = machine->Take(bytes);
  EXPECT_EQ(step.taken, 2U);
  EXPECT_EQ(step.event, Event::kAnswer);
  EXPECT_EQ(machine->writePtr(), 2) << "the unit stays until the caller has handled it";
}

TEST(ReceiveMachineLimits, KeepsAnUnsolicitedRecordAfterItsReset) {
  const auto receiver = std::make_unique<Receiver>(false);
  receiver->Take("\x03\0\0\x06"s + "abc@");
  EXPECT_EQ(receiver->machine.writePtr(), 0);
  EXPECT_TRUE(std::ranges::equal(receiver->machine.RxBuffer().subspan(3, 3), "abc"s));
}

TEST(ReceiveMachineLimits, CountsNoFurtherThanAnyLength) {
  const auto receiver = std::make_unique<Receiver>(true);
  receiver->Take(std::string((1 << 24) + 10, 'x'));
  EXPECT_EQ(receiver->machine.writePtr(), 1 << 24);
  EXPECT_TRUE(receiver->events.empty());
}

TEST(ReceiveMachineLimits, EndsABurstLargerThanTheBuffer) {
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

// What a scanner may send, right and wrong, in random pieces and byte by byte.
TEST(ReceiveMachineLimits, TreatsRandomPiecesLikeSingleBytes) {
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
