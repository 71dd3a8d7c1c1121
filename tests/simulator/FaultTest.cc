#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include "simulator/Fault.h"
#include "simulator/Input.h"

namespace quillet::simulator {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::SizeIs;

std::string ScriptError(std::string_view script) {
  try {
    ParseFaults(script);
  } catch (const InputError& error) {
    return error.what();
  }
  return "no error";
}

TEST(FaultScript, ReadsOccurrenceNumbersOfCommands) {
  for (const auto& [rule, occurrence, andLater] : {std::tuple("on M 2 silence", 2U, false),
                                                   {"on M 2+ silence", 2U, true},
                                                   {"on M every silence", 1U, true},
                                                   {"on M silence", 1U, true}}) {
    EXPECT_EQ(ParseFault(rule).command, "M");
    EXPECT_EQ(ParseFault(rule).occurrence, occurrence) << rule;
    EXPECT_EQ(ParseFault(rule).andLater, andLater) << rule;
  }
}

TEST(FaultScript, ReadsEveryTrigger) {
  EXPECT_EQ(ParseFault("after-sent 12 unplug").trigger, FaultTrigger::kBytesSent);
  EXPECT_EQ(ParseFault("after-received 12 unplug").trigger, FaultTrigger::kBytesReceived);
  EXPECT_EQ(ParseFault("after-bytes 12 unplug").trigger, FaultTrigger::kBytesBothWays);
  EXPECT_EQ(ParseFault("after-bytes 12 unplug").afterBytes, 12U);
  EXPECT_EQ(ParseFault("at 2.5s unplug").after, milliseconds(2500));
  EXPECT_EQ(ParseFault("at 700ms unplug").after, milliseconds(700));
}

TEST(FaultScript, ParsesBytesAndDurations) {
  EXPECT_EQ(ParseFault("on N answer 00 00 21 00 40").bytes, (Bytes{0, 0, 0x21, 0, 0x40}));
  EXPECT_EQ(ParseFault("on N answer 0000FF \"a b\\x07\" 40").bytes,
            (Bytes{0, 0, 0xFF, 'a', ' ', 'b', 7, 0x40}));
  EXPECT_EQ(ParseFault("on P delay 0.5").duration, std::chrono::microseconds(500));
  EXPECT_EQ(ParseFault("on P chunks 3 0.25").duration, std::chrono::microseconds(250));
  EXPECT_EQ(ParseFault("on P chunks 3").duration, milliseconds(0));
  EXPECT_EQ(ParseFault("after-sent 5 unplug").replug, std::nullopt);
  EXPECT_EQ(ParseFault("after-sent 5 unplug replug 300").replug, milliseconds(300));
}

TEST(FaultScript, IgnoresCommentsAndEmptyLines) {
  const auto faults =
      ParseFaults("# nothing\n\non w1# silence # a comment\r\n   \non p1a# 1 lose 3");
  ASSERT_THAT(faults, SizeIs(2));
  EXPECT_EQ(faults[0].command, "w1#");
  EXPECT_EQ(faults[1].command, "p1a#");
  EXPECT_THROW(ParseFault("  # nothing"), std::invalid_argument);
}

TEST(FaultScript, ReportsErrorsWithLineAndReason) {
  const std::pair<const char*, const char*> kErrors[] = {
      {"on M silence\n\nif M silence\n",
       "line 3: expected \"on\", \"after-sent\", \"after-received\", \"after-bytes\" or \"at\", "
       "not \"if\""},
      {"on Q silence", "line 1: \"Q\" is not a scanner command"},
      {"on p01# silence", "line 1: \"p01#\" is not a scanner command"},
      {"on", "line 1: expected a command at the end of the rule"},
      {"on M", "line 1: expected an action at the end of the rule"},
      {"on M explode", "line 1: unknown action \"explode\""},
      {"on M 0 silence", "the occurrence must be"},
      {"on M delay soon", "not \"soon\""},
      {"on M before 0", "expected bytes, such as 03 1f or \"text\", not \"0\""},
      {"on M before", "expected bytes, such as 03 1f or \"text\" at the end of the rule"},
      {"on M before \"x", "a closing quotation mark is missing"},
      {"on M silence now", "unexpected \"now\" at the end of the rule"},
      {"on M send 40", "line 1: \"send\" is not allowed after \"on\""},
      {"at 1s silence", "line 1: \"silence\" is only allowed after \"on\""},
      {"at 1 unplug", "such as 2.5s or 700ms"},
      {"at s unplug", "such as 2.5s or 700ms"},
      {"after-sent 0 unplug", "line 1: the number of bytes must be at least 1"},
      {"on M length 5", "only answers to p and P"},
      {"on P length 16777216", "24 bits"},
      {"on P chunks 0", "the chunk size must be at least 1"},
      {"after-sent 5 unplug again 3", "expected \"replug\""},
      {"at 1s scan 256 abc", "from 0 to 255"}};
  for (const auto& [script, error] : kErrors) {
    EXPECT_THAT(ScriptError(script), HasSubstr(error)) << script;
  }
}

TEST(FaultScript, ParsesEveryExampleInTheHelpText) {
  EXPECT_THAT(ParseFaults(kFaultHelp.substr(kFaultHelp.find("Examples:\n") + 10)), SizeIs(11));
}

/// Applies one rule to an answer and returns the result.
std::optional<Bytes> Edited(const char* rule, std::optional<Bytes> answer,
                            CommandKind kind = CommandKind::kWakeUp) {
  AnswerPlan plan{std::move(answer)};
  ApplyFaults({ParseFault(rule)}, kind, plan);
  return plan.answer;
}

TEST(AnswerFaults, InsertReplaceOrRemoveBytes) {
  const std::pair<const char*, const char*> kEdits[] = {
      {"on W before \"xy\"", "xyabc@"},
      {"on W within 2 \"xy\"", "abxyc@"},
      {"on W within 99 \"xy\"", "abc@xy"},
      {"on W after \"xy\"", "abc@xy"},
      {"on W answer \"xy\"", "xy"},
      {"on W truncate 2", "ab"},
      {"on W truncate 9", "abc@"},
      {"on W lose 1 2", "a@"},
      {"on W lose 0", "bc@"},
      {"on W lose 18446744073709551615 18446744073709551615", "abc@"}};
  for (const auto& [rule, answer] : kEdits) {
    EXPECT_EQ(Edited(rule, ToBytes("abc@")), ToBytes(answer)) << rule;
  }
}

TEST(AnswerFaults, RemoveReplaceOrResizeTheAnswer) {
  EXPECT_EQ(Edited("on W silence", ToBytes("@")), std::nullopt);
  EXPECT_EQ(Edited("on p answer 40", std::nullopt), ToBytes("@"));
  EXPECT_EQ(Edited("on P length 0x123456", Bytes{0, 0, 4, 'x'}, CommandKind::kSendAllRecords),
            (Bytes{0x12, 0x34, 0x56, 'x'}));
  EXPECT_EQ(Edited("on p length 0", Bytes{3, 0, 0, 4, 'x'}, CommandKind::kSendOneRecord),
            (Bytes{3, 0, 0, 0, 'x'}));
}

TEST(AnswerFaults, AreAppliedInScriptOrder) {
  AnswerPlan plan{ToBytes("abc@")};
  ApplyFaults(ParseFaults("on W truncate 2\non W after \"z\"\non W delay 5\non W delay 7"),
              CommandKind::kWakeUp, plan);
  EXPECT_EQ(plan.answer, ToBytes("abz"));
  EXPECT_EQ(plan.delay, milliseconds(12));
}

constexpr Time kStart{std::chrono::seconds(1000)};

class FaultInjectorTest : public testing::Test {
 protected:
  void Arm(const char* rule, const LineCounters& counters = {}) {
    injector_.Arm(ParseFault(rule), counters, kStart);
  }

  std::size_t CountDue(const LineCounters& counters, Time now = kStart) {
    return injector_.TakeDue(counters, now).size();
  }

  FaultInjector injector_;
};

TEST_F(FaultInjectorTest, CountsOccurrencesOfEachCommand) {
  Arm("on W 2 silence");
  Arm("on W 2+ silence");
  EXPECT_THAT(injector_.OnCommand("W"), SizeIs(0));
  EXPECT_THAT(injector_.OnCommand("M"), SizeIs(0));
  EXPECT_THAT(injector_.OnCommand("W"), SizeIs(2));
  EXPECT_THAT(injector_.OnCommand("W"), SizeIs(1));
}

TEST_F(FaultInjectorTest, MatchesCommandsByNameOrGroup) {
  Arm("on p silence");
  Arm("on any silence");
  Arm("on p1# silence");
  EXPECT_THAT(injector_.OnCommand("p1#"), SizeIs(3));
  EXPECT_THAT(injector_.OnCommand("p2#"), SizeIs(2));
  EXPECT_THAT(injector_.OnCommand("P"), SizeIs(1));
}

TEST_F(FaultInjectorTest, FiresOnceAfterTheGivenNumberOfBytes) {
  Arm("after-sent 10 unplug", {100, 0});
  EXPECT_EQ(injector_.SendableBefore({100, 0}), 10U);
  EXPECT_EQ(injector_.SendableBefore({104, 50}), 6U);
  EXPECT_EQ(CountDue({109, 0}), 0U);
  EXPECT_EQ(CountDue({110, 0}), 1U);
  EXPECT_EQ(CountDue({110, 0}), 0U);
}

TEST_F(FaultInjectorTest, RestartCountingResetsTheByteCount) {
  Arm("after-received 10 unplug", {0, 100});
  injector_.RestartCounting();
  EXPECT_EQ(CountDue({0, 9}), 0U);
  EXPECT_EQ(CountDue({0, 10}), 1U);
}

TEST_F(FaultInjectorTest, FiresAtTheGivenTimeAfterArming) {
  EXPECT_EQ(injector_.NextTime(), Time::max());
  Arm("at 20ms plug");
  EXPECT_EQ(injector_.NextTime(), kStart + milliseconds(20));
  EXPECT_EQ(CountDue({}, kStart + milliseconds(19)), 0U);
  EXPECT_EQ(CountDue({}, kStart + milliseconds(20)), 1U);
}

}  // namespace
}  // namespace quillet::simulator
