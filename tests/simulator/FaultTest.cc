#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "simulator/Fault.h"
#include "simulator/FaultInjector.h"
#include "simulator/InputError.h"

namespace quillet::simulator {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::string ScriptError(std::string_view script) {
  try {
    ParseFaults(script);
  } catch (const InputError& error) {
    return error.what();
  }
  return "no error";
}

/// The answer that comes of one rule.
AnswerPlan Plan(const char* rule, Bytes answer, CommandKind kind = CommandKind::kWakeUp) {
  AnswerPlan plan{std::move(answer)};
  ApplyFaults({ParseFault(rule)}, kind, plan);
  return plan;
}

Bytes Edited(const char* rule, Bytes answer, CommandKind kind = CommandKind::kWakeUp) {
  return Plan(rule, std::move(answer), kind).answer.value_or(ToBytes("none"));
}

TEST(FaultScript, ReadsTheOccurrenceOfACommand) {
  const Fault once = ParseFault("on M 2 silence");
  EXPECT_EQ(once.command, "M");
  EXPECT_EQ(once.occurrence, 2U);
  EXPECT_FALSE(once.and_later);
  EXPECT_TRUE(ParseFault("on M 2+ silence").and_later);
  EXPECT_EQ(ParseFault("on M 2+ silence").occurrence, 2U);
  EXPECT_TRUE(ParseFault("on M every silence").and_later);
  EXPECT_TRUE(ParseFault("on M silence").and_later);
}

TEST(FaultScript, ReadsEveryTrigger) {
  EXPECT_EQ(ParseFault("after-sent 12 unplug").trigger, FaultTrigger::kBytesSent);
  EXPECT_EQ(ParseFault("after-received 12 unplug").trigger, FaultTrigger::kBytesReceived);
  EXPECT_EQ(ParseFault("after-bytes 12 unplug").trigger, FaultTrigger::kBytesBothWays);
  EXPECT_EQ(ParseFault("after-bytes 12 unplug").after_bytes, 12U);
  EXPECT_EQ(ParseFault("at 2.5s unplug").after, milliseconds(2500));
  EXPECT_EQ(ParseFault("at 700ms unplug").after, milliseconds(700));
}

TEST(FaultScript, BytesAreHexadecimalAndText) {
  EXPECT_EQ(ParseFault("on N answer 00 00 21 00 40").bytes, (Bytes{0, 0, 0x21, 0, 0x40}));
  EXPECT_EQ(ParseFault("on N answer 0000FF \"a b\\x07\" 40").bytes,
            (Bytes{0, 0, 0xFF, 'a', ' ', 'b', 7, 0x40}));
}

TEST(FaultScript, TimesMayHaveDecimals) {
  EXPECT_EQ(ParseFault("on P delay 0.5").duration, std::chrono::microseconds(500));
  EXPECT_EQ(ParseFault("on P chunks 3 0.25").duration, std::chrono::microseconds(250));
  EXPECT_EQ(ParseFault("on P chunks 3").duration, milliseconds(0));
}

TEST(FaultScript, APulledCableMayBePutInAgain) {
  EXPECT_EQ(ParseFault("after-sent 5 unplug").replug, std::nullopt);
  EXPECT_EQ(ParseFault("after-sent 5 unplug replug 300").replug, milliseconds(300));
}

TEST(FaultScript, CommentsAndEmptyLinesAreNoRules) {
  const auto faults =
      ParseFaults("# nothing\n\non w1# silence # a comment\r\n   \non p1a# 1 lose 3");
  ASSERT_THAT(faults, SizeIs(2));
  EXPECT_EQ(faults[0].command, "w1#");
  EXPECT_EQ(faults[1].command, "p1a#");
}

TEST(FaultScript, ErrorsNameTheLineAndTheReason) {
  EXPECT_EQ(ScriptError("on M silence\n\nif M silence\n"),
            "line 3: a rule begins with on, after-sent, after-received, after-bytes or at, not "
            "\"if\"");
  EXPECT_EQ(ScriptError("on Q silence"), "line 1: \"Q\" is not a command of the scanner");
  EXPECT_EQ(ScriptError("on p01# silence"), "line 1: \"p01#\" is not a command of the scanner");
  EXPECT_EQ(ScriptError("on"), "line 1: expected a command at the end of the rule");
  EXPECT_EQ(ScriptError("on M"), "line 1: expected what shall happen at the end of the rule");
  EXPECT_EQ(ScriptError("on M explode"), "line 1: nothing called \"explode\" can happen");
  EXPECT_THAT(ScriptError("on M 0 silence"), HasSubstr("an occurrence is written as"));
  EXPECT_THAT(ScriptError("on M delay soon"), HasSubstr("not \"soon\""));
  EXPECT_THAT(ScriptError("on M delay -1"), HasSubstr("not \"-1\""));
  EXPECT_THAT(ScriptError("on M answer 4"), HasSubstr("expected bytes"));
  EXPECT_THAT(ScriptError("on M answer \"abc"), HasSubstr("does not end"));
  EXPECT_THAT(ScriptError("on M answer"), HasSubstr("expected bytes"));
  EXPECT_THAT(ScriptError("on M silence now"), HasSubstr("\"now\" is more than"));
  EXPECT_EQ(ScriptError("on M send 40"), "line 1: \"send\" can not happen on a command");
  EXPECT_EQ(ScriptError("at 1s silence"), "line 1: \"silence\" can only happen on a command");
  EXPECT_THAT(ScriptError("at 1 unplug"), HasSubstr("such as 2.5s or 700ms"));
  EXPECT_THAT(ScriptError("at s unplug"), HasSubstr("such as 2.5s or 700ms"));
  EXPECT_THAT(ScriptError("after-sent 0 unplug"), HasSubstr("counted from 1"));
  EXPECT_THAT(ScriptError("on M length 5"), HasSubstr("only the answers to p and P"));
  EXPECT_THAT(ScriptError("on P length 16777216"), HasSubstr("24 bits"));
  EXPECT_THAT(ScriptError("on P chunks 0"), HasSubstr("at least one byte"));
  EXPECT_THAT(ScriptError("after-sent 5 unplug again 3"), HasSubstr("expected \"replug\""));
  EXPECT_THAT(ScriptError("at 1s scan 256 abc"), HasSubstr("0 to 255"));
}

TEST(FaultScript, ASingleRuleMustBeOne) {
  EXPECT_THROW(ParseFault("  # nothing"), std::invalid_argument);
}

TEST(FaultScript, EveryExampleOfTheHelpIsAValidRule) {
  const std::string_view help = FaultHelp();
  const auto faults = ParseFaults(help.substr(help.find("Examples:\n") + 10));
  EXPECT_THAT(faults, SizeIs(11));
}

TEST(AnswerFaults, EditTheAnswer) {
  EXPECT_EQ(Edited("on W before \"xy\"", ToBytes("abc@")), ToBytes("xyabc@"));
  EXPECT_EQ(Edited("on W within 2 \"xy\"", ToBytes("abc@")), ToBytes("abxyc@"));
  EXPECT_EQ(Edited("on W within 99 \"xy\"", ToBytes("abc@")), ToBytes("abc@xy"));
  EXPECT_EQ(Edited("on W after \"xy\"", ToBytes("abc@")), ToBytes("abc@xy"));
  EXPECT_EQ(Edited("on W answer \"xy\"", ToBytes("abc@")), ToBytes("xy"));
  EXPECT_EQ(Edited("on W truncate 2", ToBytes("abc@")), ToBytes("ab"));
  EXPECT_EQ(Edited("on W truncate 9", ToBytes("abc@")), ToBytes("abc@"));
  EXPECT_EQ(Edited("on W lose 1 2", ToBytes("abc@")), ToBytes("a@"));
  EXPECT_EQ(Edited("on W lose 0", ToBytes("abc@")), ToBytes("bc@"));
  EXPECT_EQ(Edited("on W lose 18446744073709551615 18446744073709551615", ToBytes("abc@")),
            ToBytes("abc@"));
}

TEST(AnswerFaults, SilenceLeavesNoAnswer) {
  EXPECT_EQ(Plan("on W silence", ToBytes("@")).answer, std::nullopt);
}

TEST(AnswerFaults, AReplacedAnswerComesEvenWhereThereWouldBeNone) {
  AnswerPlan plan;
  ApplyFaults({ParseFault("on p answer 40")}, CommandKind::kSendOneRecord, plan);
  EXPECT_EQ(plan.answer, ToBytes("@"));
}

TEST(AnswerFaults, TheLengthIsWhereTheKindOfFrameHasIt) {
  EXPECT_EQ(Edited("on P length 0x123456", Bytes{0, 0, 4, 'x'}, CommandKind::kSendAllRecords),
            (Bytes{0x12, 0x34, 0x56, 'x'}));
  EXPECT_EQ(Edited("on p length 0", Bytes{3, 0, 0, 4, 'x'}, CommandKind::kSendOneRecord),
            (Bytes{3, 0, 0, 0, 'x'}));
}

TEST(AnswerFaults, ApplyInTheOrderOfTheScript) {
  AnswerPlan plan{ToBytes("abc@")};
  ApplyFaults(ParseFaults("on W truncate 2\non W after \"z\"\non W delay 5\non W delay 7"),
              CommandKind::kWakeUp, plan);
  EXPECT_EQ(plan.answer, ToBytes("abz"));
  EXPECT_EQ(plan.delay, milliseconds(12));
}

constexpr Time kStart{std::chrono::seconds(1000)};

TEST(FaultInjector, CountsTheOccurrencesOfItsCommand) {
  FaultInjector injector;
  injector.Arm(ParseFault("on W 2 silence"), {}, kStart);
  EXPECT_THAT(injector.OnCommand("W"), IsEmpty());
  EXPECT_THAT(injector.OnCommand("M"), IsEmpty());
  EXPECT_THAT(injector.OnCommand("W"), SizeIs(1));
  EXPECT_THAT(injector.OnCommand("W"), IsEmpty());
}

TEST(FaultInjector, MayHoldForAllLaterOccurrences) {
  FaultInjector injector;
  injector.Arm(ParseFault("on W 2+ silence"), {}, kStart);
  EXPECT_THAT(injector.OnCommand("W"), IsEmpty());
  EXPECT_THAT(injector.OnCommand("W"), SizeIs(1));
  EXPECT_THAT(injector.OnCommand("W"), SizeIs(1));
}

TEST(FaultInjector, OneLetterStandsForAllRequestsOfItsKind) {
  FaultInjector injector;
  injector.Arm(ParseFault("on p silence"), {}, kStart);
  injector.Arm(ParseFault("on any silence"), {}, kStart);
  injector.Arm(ParseFault("on p1# silence"), {}, kStart);
  EXPECT_THAT(injector.OnCommand("p1#"), SizeIs(3));
  EXPECT_THAT(injector.OnCommand("p2#"), SizeIs(2));
  EXPECT_THAT(injector.OnCommand("P"), SizeIs(1));
}

TEST(FaultInjector, BytesAreCountedFromTheArmingAndComeDueOnce) {
  FaultInjector injector;
  injector.Arm(ParseFault("after-sent 10 unplug"), {100, 0}, kStart);
  EXPECT_EQ(injector.SendableBefore({100, 0}), 10U);
  EXPECT_EQ(injector.SendableBefore({104, 50}), 6U);
  EXPECT_THAT(injector.TakeDue({109, 0}, kStart), IsEmpty());
  EXPECT_THAT(injector.TakeDue({110, 0}, kStart), SizeIs(1));
  EXPECT_THAT(injector.TakeDue({110, 0}, kStart), IsEmpty());
}

TEST(FaultInjector, BothDirectionsTogetherLimitTheSending) {
  FaultInjector injector;
  injector.Arm(ParseFault("after-bytes 10 unplug"), {}, kStart);
  EXPECT_EQ(injector.SendableBefore({2, 3}), 5U);
  EXPECT_THAT(injector.TakeDue({5, 5}, kStart), SizeIs(1));
}

TEST(FaultInjector, ANewLineCountsFromZero) {
  FaultInjector injector;
  injector.Arm(ParseFault("after-received 10 unplug"), {0, 100}, kStart);
  injector.RestartCounting();
  EXPECT_THAT(injector.TakeDue({0, 9}, kStart), IsEmpty());
  EXPECT_THAT(injector.TakeDue({0, 10}, kStart), SizeIs(1));
}

TEST(FaultInjector, TimesAreCountedFromTheArming) {
  FaultInjector injector;
  EXPECT_EQ(injector.NextTime(), Time::max());
  injector.Arm(ParseFault("at 20ms plug"), {}, kStart);
  EXPECT_EQ(injector.NextTime(), kStart + milliseconds(20));
  EXPECT_THAT(injector.TakeDue({}, kStart + milliseconds(19)), IsEmpty());
  EXPECT_THAT(injector.TakeDue({}, kStart + milliseconds(20)), SizeIs(1));
}

}  // namespace
}  // namespace quillet::simulator
