#include <gtest/gtest.h>

#include "app/RunProgress.h"
#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Phase = RunState::Phase;
using Shown = RunProgress::Shown;

RunState OneByOne(std::int32_t records, std::int32_t expected) {
  return {.phase = Phase::kRecords, .records = records, .expected = expected};
}

RunState Burst(std::int32_t bytes, std::int32_t announced) {
  return {.phase = Phase::kBurst, .expected = 130, .bytes = bytes, .announced = announced};
}

TEST(RunProgressTest, ShowsIndeterminateProgressAtFirst) {
  EXPECT_EQ(RunProgress().Look(0ms, {}), (Shown{"Requesting records from the scanner…", -1}));
}

TEST(RunProgressTest, ShowsRecordCountRateAndTimeLeft) {
  const struct {
    std::chrono::milliseconds now;
    std::int32_t records;
    const char* text;
  } cases[] = {{0ms, 0, "Received 0 of 130 records"},
               {799ms, 5, "Received 5 of 130 records"},
               {800ms, 8, "Received 8 of 130 records  ·  10 per second  ·  13 s left"},
               {1000ms, 10, "Received 10 of 130 records  ·  10 per second  ·  12 s left"},
               {2000ms, 15, "Received 15 of 130 records  ·  7.5 per second  ·  16 s left"}};
  RunProgress progress;
  for (const auto& [now, records, text] : cases) {
    EXPECT_EQ(progress.Look(now, OneByOne(records, 130)), (Shown{text, records / 130.0}));
  }
}

TEST(RunProgressTest, MeasuresTheRateOverTheLastFewSeconds) {
  RunProgress progress;
  for (int i = 0; i <= 10; ++i) progress.Look(i * 1000ms, OneByOne(i * 10, 1000));
  for (int i = 11; i <= 19; ++i) progress.Look(i * 1000ms, OneByOne(100 + (i - 10) * 2, 1000));
  EXPECT_EQ(progress.Look(20000ms, OneByOne(120, 1000)).text,
            "Received 120 of 1000 records  ·  2.0 per second  ·  8 min left");
}

TEST(RunProgressTest, ShowsARateBelowOneRecordPerSecond) {
  RunProgress progress;
  progress.Look(0ms, OneByOne(0, 10));
  EXPECT_EQ(progress.Look(4000ms, OneByOne(2, 10)).text,
            "Received 2 of 10 records  ·  0.5 per second  ·  16 s left");
}

TEST(RunProgressTest, RoundsUpTheRemainingMinutes) {
  for (const auto& [expected, minutes] : {std::pair(244, "2"), std::pair(246, "3")}) {
    RunProgress progress;
    progress.Look(0ms, OneByOne(0, expected));
    const std::string text = progress.Look(2000ms, OneByOne(4, expected)).text;
    EXPECT_TRUE(text.ends_with("2.0 per second  ·  "s + minutes + " min left")) << text;
  }
}

TEST(RunProgressTest, ShowsReceivedBytesDuringABurst) {
  RunProgress progress;
  EXPECT_EQ(progress.Look(0ms, Burst(0, 0)), (Shown{"Waiting for 130 records", -1}));
  EXPECT_EQ(progress.Look(500ms, Burst(3, 30000)),
            (Shown{"130 records  ·  0.0 of 30.0 kB", 0.0001}));
  EXPECT_EQ(progress.Look(1500ms, Burst(11003, 30000)).text,
            "130 records  ·  11.0 of 30.0 kB  ·  11.0 kB/s  ·  2 s left");
  EXPECT_EQ(progress.Look(3500ms, Burst(30000, 30000)).fraction, 1);
  EXPECT_TRUE(progress.Look(4000ms, Burst(1230003, 4000000))
                  .text.starts_with("130 records  ·  1230.0 of 4000.0 kB"));
}

TEST(RunProgressTest, ShowsOnlyTheRecordCountInTheClosingPhase) {
  RunProgress progress;
  progress.Look(0ms, Burst(0, 100));
  EXPECT_EQ(progress.Look(500ms, {.phase = Phase::kClosing, .records = 1}),
            (Shown{"Received 1 record", 1}));
}

TEST(RunProgressTest, ShowsDeliveredRecordsAfterABurst) {
  RunProgress progress;
  progress.Look(0ms, Burst(30000, 30000));
  const auto delivered = [](std::int32_t records) {
    return RunState{.phase = Phase::kDelivering, .records = records, .expected = 4000};
  };
  EXPECT_EQ(progress.Look(150ms, delivered(0)), (Shown{"Delivered 0 of 4000 records", 0}));
  EXPECT_EQ(progress.Look(1150ms, delivered(5)),
            (Shown{"Delivered 5 of 4000 records  ·  5.0 per second  ·  14 min left", 5.0 / 4000}));
}

TEST(RunProgressTest, ShowsThatTheScannerDidNotAnswer) {
  RunProgress progress;
  const Shown shown{"The scanner did not respond.", 0, "Restart Quillet to continue."};
  EXPECT_EQ(progress.Look(0ms, {.phase = Phase::kGivenUp}), shown);
  EXPECT_EQ(progress.Look(60s, {.phase = Phase::kGivenUp}), shown);
}

TEST(RunProgressTest, ShowsTheSecondsWithoutData) {
  RunProgress progress;
  const std::pair<std::chrono::milliseconds, const char*> cases[] = {
      {0ms, "Received 4 of 130 records"},
      {2999ms, "Received 4 of 130 records"},
      {3000ms, "Received 4 of 130 records  ·  no data for 3 s"},
      {59999ms, "Received 4 of 130 records  ·  no data for 59 s"},
      {60000ms, "No data for over a minute."},
  };
  for (const auto& [now, text] : cases) EXPECT_EQ(progress.Look(now, OneByOne(4, 130)).text, text);
  EXPECT_EQ(progress.Look(60150ms, OneByOne(5, 130)).text.find("o data for"), std::string::npos);
}

TEST(RunProgressTest, LimitsTheFractionToOne) {
  EXPECT_EQ(RunProgress().Look(0ms, OneByOne(140, 130)).fraction, 1);
  EXPECT_EQ(RunProgress().Look(0ms, OneByOne(0, 0)).fraction, -1);
}

class ProgressTest : public test::AppFixture {
 protected:
  /// Starts the program with these settings and connects a scanner with three records.
  void ConnectWith(const test::Choice& choice) {
    StartWith(choice);
    LaunchConnected(test::Scanner({"1", "2", "3"}));
  }

  /// Starts a run and delays the scanner's answer to `command`.
  void StartAndHold(const std::string& command) {
    tavo.Hold(command);
    synchronize.Press();
    tavo.WaitUntilHeld();
  }

  /// Releases the delayed answer and delays the scanner's answer to `command`.
  void ReleaseAndHold(const std::string& command) {
    tavo.Hold(command);
    tavo.Release();
    tavo.WaitUntilHeld();
  }

  /// Returns the displayed progress after the next tick.
  std::string Shown() {
    mainQueue.RunAll();
    clock.Advance(150ms);
    ticker.Tick();
    return strip.text();
  }
};

TEST_F(ProgressTest, ShowsProgressOfARecordByRecordRun) {
  ConnectWith({.destination = 1, .burstsync = false});
  EXPECT_EQ(strip.text(), "");
  EXPECT_FALSE(ticker.IsRunning());
  StartAndHold("W");
  EXPECT_EQ(Shown(), "Requesting records from the scanner…");
  ReleaseAndHold("p1#");
  EXPECT_EQ(Shown(), "Received 1 of 3 records");
  ReleaseAndHold("GS0");
  EXPECT_EQ(Shown(), "Received 3 records");
  tavo.Release();
  AwaitEnd(0);
  EXPECT_TRUE(Shown().starts_with("3 records in "));
  EXPECT_FALSE(ticker.IsRunning());
  EXPECT_EQ(View().find("Received"), std::string::npos);
}

TEST_F(ProgressTest, ShowsReceivedBytesThenDeliveredRecords) {
  ConnectWith({.destination = 2});
  auto& delivered = test::Immortal<std::atomic<bool>>(false);
  keyEvents.onPost = [&delivered] { test::WaitFor([&] { return delivered.load(); }); };
  StartAndHold("P");
  EXPECT_EQ(Shown(), "Waiting for 3 records");
  tavo.Release(3 + 5);
  tavo.WaitUntilRead();
  EXPECT_EQ(Shown(), "3 records  ·  0.0 of 0.0 kB");
  EXPECT_DOUBLE_EQ(strip.fraction().value(), 8.0 / 24);
  tavo.Release();
  ASSERT_TRUE(test::WaitFor([&] { return controller.barcodeCount == 1; }));
  EXPECT_EQ(Shown(), "Delivered 1 of 3 records");
  delivered = true;
  AwaitEnd(0);
}

TEST_F(ProgressTest, ShowsTheWaitingMessageForAThreeByteBurst) {
  ConnectWith({.destination = 1});
  tavo.Answer("P", {0, 0, 3, 'x'});
  StartAndHold("P");
  tavo.Release();
  EXPECT_EQ(Shown(), "Waiting for 3 records");
}

TEST_F(ProgressTest, ShowsThatTheScannerDidNotAnswer) {
  ConnectWith({});
  tavo.Answer("W", {});
  synchronize.Press();
  EXPECT_TRUE(test::WaitFor([&] {
    return Shown() ==
           "The scanner did not respond. No records were received. Restart Quillet to continue.";
  }));
}

class DisconnectedProgressTest : public ProgressTest {
 protected:
  void Reconnect(bool burst) {
    ConnectWith({.burstsync = burst});
    StartAndHold("W");
    EXPECT_EQ(Shown(), "Requesting records from the scanner…");
    registry.Unplug(folder / "usbmodem1");
    EXPECT_EQ(Shown(), kDisconnected);
    EXPECT_FALSE(ticker.IsRunning());
    ASSERT_TRUE(test::WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
    BecomeConnected();
  }

  static constexpr const char* kDisconnected =
      "The scanner was disconnected during the synchronization. No records were received. Restart "
      "Quillet to continue.";
};

TEST_F(DisconnectedProgressTest, ShowsThatARecordByRecordRunContinues) {
  Reconnect(false);
  EXPECT_TRUE(Shown().starts_with("Requesting records from the scanner…"));
  EXPECT_TRUE(ticker.IsRunning());
}

TEST_F(DisconnectedProgressTest, AdvisesARestartIfInterruptedInBurstMode) {
  Reconnect(true);
  EXPECT_EQ(Shown(), kDisconnected);
}

TEST_F(ProgressTest, HidesProgressIfTheRunEndsBeforeTheFirstTick) {
  ConnectWith({});
  Synchronize();
  EXPECT_TRUE(Shown().starts_with("3 records in "));
  EXPECT_FALSE(ticker.IsRunning());
}

}  // namespace
}  // namespace quillet
