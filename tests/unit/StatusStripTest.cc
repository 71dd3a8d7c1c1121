#include <gtest/gtest.h>

#include "app/StatusStrip.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/RecordingLog.h"

namespace quillet {
namespace {

class StatusStripTest : public testing::Test {
 protected:
  void Raise(Notice notice, const std::string& text, std::vector<StripAction> actions = {}) {
    strip_.Raise(notice, text, std::move(actions));
    mainQueue_.RunAll();
  }
  void Withdraw(Notice notice) {
    strip_.Withdraw(notice);
    mainQueue_.RunAll();
  }

  test::FakeStatusDisplay display_;
  test::FakeMainQueue mainQueue_;
  test::RecordingLog log_;
  StatusStrip strip_{display_, mainQueue_, log_};
};

TEST_F(StatusStripTest, ShowsTheMessageWithTheHighestRank) {
  Raise(Notice::kRunFinished, "finished");
  EXPECT_EQ(display_.text(), "finished");
  Raise(Notice::kPortBusy, "busy");
  EXPECT_EQ(display_.text(), "busy");
  Raise(Notice::kNoScanner, "waiting");
  EXPECT_EQ(display_.text(), "busy");
  Withdraw(Notice::kPortBusy);
  EXPECT_EQ(display_.text(), "finished");
  Withdraw(Notice::kRunFinished);
  Withdraw(Notice::kRunFinished);
  EXPECT_EQ(display_.text(), "waiting");
  Withdraw(Notice::kNoScanner);
  EXPECT_EQ(display_.text(), "");
}

TEST_F(StatusStripTest, MarksHiddenCharactersInMessages) {
  Raise(Notice::kFileNotWritten,
        "a\u202E\n\xFF"
        "b");
  EXPECT_EQ(display_.text(), "a\uFFFD\uFFFD\uFFFDb");
}

TEST_F(StatusStripTest, RaisingANoticeAgainReplacesItsMessage) {
  std::string pressed;
  Raise(Notice::kRunFinished, "one", {{"Open file", [&] { pressed = "one"; }}});
  Raise(Notice::kRunFinished, "two", {{"Open file", [&] { pressed = "two"; }}});
  EXPECT_EQ(display_.text(), "two");
  display_.Press(0);
  EXPECT_EQ(pressed, "two");
  Withdraw(Notice::kRunFinished);
  EXPECT_EQ(display_.text(), "");
}

TEST_F(StatusStripTest, ShowsProgressUnlessAProblemOutranksIt) {
  Raise(Notice::kRunFinished, "finished", {{"Open file", [] {}}});
  strip_.ShowProgress({"Received 1 of 3 records", 0.25});
  EXPECT_EQ(display_.fraction(), 0.25);
  EXPECT_TRUE(display_.Buttons().empty());
  Raise(Notice::kTypingImpossible, "not typed");
  strip_.ShowProgress({"Received 2 of 3 records", 0.5});
  EXPECT_EQ(display_.Message(), "not typed");
  Withdraw(Notice::kTypingImpossible);
  EXPECT_EQ(display_.fraction(), 0.5);
  strip_.EndProgress();
  EXPECT_EQ(display_.Message(), "finished");
  EXPECT_EQ(display_.Buttons(), std::vector<std::string>{"Open file"});
}

TEST_F(StatusStripTest, LogsProblemsOnly) {
  Raise(Notice::kConnecting, "Connecting");
  Raise(Notice::kPortBusy, "The port is busy.");
  EXPECT_EQ(log_.lines(), std::vector<std::string>{"Quillet: The port is busy."});
}

}  // namespace
}  // namespace quillet
