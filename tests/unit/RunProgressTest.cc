#include <gtest/gtest.h>

#include "app/RunProgress.h"
#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using Phase = RunState::Phase;
using Shown = RunProgress::Shown;

RunState OneByOne(std::int32_t records, std::int32_t expected) {
  return {.phase = Phase::kRecords, .records = records, .expected = expected};
}

RunState Burst(std::int32_t bytes, std::int32_t announced) {
  return {.phase = Phase::kBurst, .expected = 130, .bytes = bytes, .announced = announced};
}

TEST(RunProgressTest, BeforeTheScannerIsAskedNothingIsKnown) {
  RunProgress progress;
  EXPECT_EQ(progress.Look(0ms, {}), (Shown{"Asking the scanner for its records", -1}));
}

TEST(RunProgressTest, OneByOneShowsRecordsRateAndTimeLeft) {
  RunProgress progress;
  EXPECT_EQ(progress.Look(0ms, OneByOne(0, 130)), (Shown{"Received 0 of 130 records", 0}));
  EXPECT_EQ(progress.Look(500ms, OneByOne(5, 130)),
            (Shown{"Received 5 of 130 records", 5.0 / 130}));
  EXPECT_EQ(progress.Look(1000ms, OneByOne(10, 130)),
            (Shown{"Received 10 of 130 records  ·  10 per second  ·  12 s left", 10.0 / 130}));
  EXPECT_EQ(progress.Look(2000ms, OneByOne(15, 130)),
            (Shown{"Received 15 of 130 records  ·  7.5 per second  ·  16 s left", 15.0 / 130}));
}

TEST(RunProgressTest, TheRateIsThatOfTheLastSeconds) {
  RunProgress progress;
  for (int i = 0; i <= 10; ++i) progress.Look(i * 1000ms, OneByOne(i * 10, 1000));
  for (int i = 11; i <= 19; ++i) progress.Look(i * 1000ms, OneByOne(100 + (i - 10) * 2, 1000));
  EXPECT_EQ(progress.Look(20000ms, OneByOne(120, 1000)).text,
            "Received 120 of 1000 records  ·  2.0 per second  ·  8 min left");
}

TEST(RunProgressTest, ABurstShowsBytesUntilItsRecordsAreThere) {
  RunProgress progress;
  EXPECT_EQ(progress.Look(0ms, Burst(0, 0)), (Shown{"Waiting for 130 records", -1}));
  EXPECT_EQ(progress.Look(500ms, Burst(3, 30000)),
            (Shown{"130 records  ·  0.0 of 30.0 kB", 0.0001}));
  EXPECT_EQ(progress.Look(1500ms, Burst(11003, 30000)).text,
            "130 records  ·  11.0 of 30.0 kB  ·  11.0 kB/s  ·  2 s left");
  EXPECT_EQ(progress.Look(3500ms, Burst(30000, 30000)).fraction, 1);
}

TEST(RunProgressTest, WhenAllHasComeOnlyTheCountIsLeft) {
  RunProgress progress;
  progress.Look(0ms, Burst(0, 100));
  EXPECT_EQ(progress.Look(500ms, {.phase = Phase::kClosing, .records = 1}),
            (Shown{"Received 1 record", 1}));
}

TEST(RunProgressTest, ABurstThatHasComeShowsHowManyOfItsRecordsAreDelivered) {
  RunProgress progress;
  progress.Look(0ms, Burst(30000, 30000));
  const auto delivered = [](std::int32_t records) {
    return RunState{.phase = Phase::kDelivering, .records = records, .expected = 4000};
  };
  EXPECT_EQ(progress.Look(150ms, delivered(0)), (Shown{"Delivered 0 of 4000 records", 0}));
  EXPECT_EQ(progress.Look(1150ms, delivered(5)),
            (Shown{"Delivered 5 of 4000 records  ·  5.0 per second  ·  14 min left", 5.0 / 4000}));
}

TEST(RunProgressTest, AScannerThatCouldNotBeWokenIsSaidOnceAndForAll) {
  RunProgress progress;
  const Shown shown{"The scanner did not answer. Please start Quillet again.", 0};
  EXPECT_EQ(progress.Look(0ms, {.phase = Phase::kGivenUp}), shown);
  EXPECT_EQ(progress.Look(60s, {.phase = Phase::kGivenUp}), shown);
}

TEST(RunProgressTest, ASilentScannerIsSaidToBeSilent) {
  RunProgress progress;
  progress.Look(0ms, OneByOne(4, 130));
  EXPECT_EQ(progress.Look(2999ms, OneByOne(4, 130)).text, "Received 4 of 130 records");
  EXPECT_EQ(progress.Look(3000ms, OneByOne(4, 130)).text,
            "Received 4 of 130 records  ·  nothing new for 3 s");
  EXPECT_EQ(progress.Look(3150ms, OneByOne(5, 130)).text.find("nothing new"), std::string::npos);
}

TEST(RunProgressTest, ASilenceThatOutlastsEveryWaitIsSaidToNeedANewStart) {
  RunProgress progress;
  progress.Look(0ms, OneByOne(4, 130));
  EXPECT_EQ(progress.Look(59999ms, OneByOne(4, 130)).text,
            "Received 4 of 130 records  ·  nothing new for 59 s");
  EXPECT_EQ(progress.Look(60000ms, OneByOne(4, 130)).text,
            "Nothing new for 60 s. If it stays so, please start Quillet again.");
  EXPECT_TRUE(progress.Look(60150ms, OneByOne(5, 130)).text.starts_with("Received 5 of 130"));
}

TEST(RunProgressTest, MoreThanExpectedIsNoMoreThanAll) {
  RunProgress progress;
  EXPECT_EQ(progress.Look(0ms, OneByOne(140, 130)).fraction, 1);
  EXPECT_EQ(progress.Look(0ms, OneByOne(0, 0)).fraction, -1);
}

class ProgressTest : public test::AppFixture {
 protected:
  ProgressTest() {
    Launch();
    BecomeConnected();
    controller.lumet->destination = 1;
  }

  std::string After(std::chrono::milliseconds passed) {
    mainQueue.RunAll();
    clock.Advance(passed);
    ticker.Tick();
    return progress.text();
  }
};

TEST_F(ProgressTest, NothingIsShownAndNothingTicksWhileNoRunGoesOn) {
  EXPECT_EQ(progress.text(), "");
  EXPECT_FALSE(ticker.IsRunning());
}

TEST_F(ProgressTest, ARunIsShownBesideTheViewUntilItHasFinished) {
  controller.synchronizeButton();
  EXPECT_EQ(After(150ms), "Asking the scanner for its records");
  controller.lumet->Show(DisplayState::Phase::kRecords);
  controller.DisplayBarcode("one\r\n");
  EXPECT_EQ(After(150ms), "Received 1 of 0 records");
  controller.lumet->Show(DisplayState::Phase::kClosing);
  EXPECT_EQ(After(150ms), "Received 1 record");
  const std::string shown = View();
  controller.SynchronizeFinished();
  EXPECT_EQ(After(150ms), "");
  EXPECT_FALSE(ticker.IsRunning());
  EXPECT_EQ(shown.find("Received"), std::string::npos);
}

TEST_F(ProgressTest, FollowsWhatTheSessionPublishes) {
  controller.synchronizeButton();
  controller.lumet->Show({DisplayState::Phase::kBurst, 1500, 3000});
  EXPECT_EQ(After(150ms), "0 records  ·  1.5 of 3.0 kB");
  EXPECT_EQ(progress.fraction(), 0.5);
  controller.lumet->Show(DisplayState::Phase::kGivenUp);
  EXPECT_EQ(After(150ms), "The scanner did not answer. Please start Quillet again.");
}

TEST_F(ProgressTest, ARunThatOutlivesTheConnectionIsHiddenUntilThereIsAnother) {
  controller.synchronizeButton();
  EXPECT_NE(After(150ms), "");
  controller.Terminate();
  EXPECT_EQ(After(150ms), "");
  BecomeConnected();
  EXPECT_NE(After(150ms), "");
  controller.SynchronizeFinished();
  EXPECT_EQ(After(150ms), "");
  EXPECT_FALSE(ticker.IsRunning());
}

TEST_F(ProgressTest, ARunThatEndedBeforeItCouldBeShownIsHidden) {
  controller.synchronizeButton();
  controller.SynchronizeFinished();
  EXPECT_EQ(After(150ms), "");
  EXPECT_FALSE(ticker.IsRunning());
}

}  // namespace
}  // namespace quillet
