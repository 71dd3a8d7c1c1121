#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::KeyEvent;
using platform::KeyFlag;
using Post = std::vector<KeyEvent>;
using Posts = std::vector<Post>;

constexpr const char* kEditor = "/usr/bin/editor";
constexpr const char* kNoReference = "-[SyncController RunApplication]:Couldn't get FSRef";

Post Press(std::uint16_t key, KeyFlag flag = KeyFlag::kNone) {
  return {{key, true, flag}, {key, false, KeyFlag::kNone}};
}

class DeliveryTest : public test::AppFixture {
 protected:
  void SetUp() override {
    Launch();
    controller.lumet->bSyncClock = 0;
    BecomeConnected();
    ClearView();
    controller.lumet->destination = 2;
    controller.lumet->appname.Set(kEditor);
    applications.installed = {kEditor};
    log.Clear();
    clock.ForgetSleeps();
  }

  /// The text that a US keyboard would have typed with these keys.
  std::string Typed() const {
    std::string text;
    for (const Post& post : keyEvents.posts()) {
      for (char16_t character = 0; character < 0x80; ++character) {
        const KeyValue key = KeyForCharacter(character);
        if (key != kNoKey && post.at(0).virtualKey == (key & kKeyCodeMask) &&
            post.at(0).flag == (key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone)) {
          text.push_back(static_cast<char>(character));
        }
      }
    }
    return text;
  }
};

TEST_F(DeliveryTest, AKeyGoesDownWithItsFlagAndUpWithout) {
  controller.SendKeyCode(0x80);
  controller.SendKeyCode(36);
  EXPECT_EQ(keyEvents.posts(), (Posts{Press(0, KeyFlag::kShift), Press(36)}));
}

TEST_F(DeliveryTest, PastingIsTheVKeyWithCommand) {
  controller.SendCommandAndV();
  EXPECT_EQ(keyEvents.posts(), Posts{Press(9, KeyFlag::kCommand)});
}

TEST_F(DeliveryTest, ARecordIsTypedCharacterByCharacterWithoutAnyPause) {
  controller.DisplayBarcode("Code 128,aB-7\t\n");
  EXPECT_EQ(Typed(), "Code 128,aB-7\t\n");
  EXPECT_EQ(clock.sleeps(), std::vector<test::FakeClock::Duration>{});
  EXPECT_EQ(pasteboard.texts(), std::vector<std::string>{});
}

TEST_F(DeliveryTest, ACarriageReturnIsNeverTyped) {
  controller.DisplayBarcode("1\r\n");
  EXPECT_EQ(Typed(), "1\n");
  controller.DisplayBarcode("2\r");
  EXPECT_EQ(Typed(), "1\n2");
}

TEST_F(DeliveryTest, ACharacterWithoutAKeyIsLeftOutAndThoseBehindItAreTyped) {
  controller.DisplayBarcode(
      std::string("a\x01\x7F\x1B"
                  "b\0c",
                  7));
  EXPECT_EQ(Typed(), "abc");
}

TEST_F(DeliveryTest, ARecordOutsideAsciiTypesNothing) {
  controller.DisplayBarcode("12\xC3\xA9\n");
  EXPECT_TRUE(keyEvents.posts().empty());
  EXPECT_EQ(controller.barcodeCount, 1);
  EXPECT_EQ(pasteboard.texts(), std::vector<std::string>{});
}

TEST_F(DeliveryTest, ARecordOutsideAsciiIsPastedWhole) {
  controller.lumet->bNonEnglish = 1;
  controller.DisplayBarcode("12\xC3\xA9 \xE2\x82\xAC\r\n");
  EXPECT_EQ(pasteboard.texts(), std::vector<std::string>{"12\xC3\xA9 \xE2\x82\xAC\r\n"});
  EXPECT_EQ(keyEvents.posts(), Posts{Press(9, KeyFlag::kCommand)});
}

TEST_F(DeliveryTest, PastingPausesATenthOfASecondBeforeTheKeyAndBehindIt) {
  controller.lumet->bNonEnglish = 1;
  std::vector<std::pair<std::string, std::size_t>> steps;
  pasteboard.onSet = [&] { steps.emplace_back("text", clock.sleeps().size()); };
  keyEvents.onPost = [&] { steps.emplace_back("key", clock.sleeps().size()); };
  controller.DisplayBarcode("plain");
  EXPECT_EQ(steps, (decltype(steps){{"text", 0U}, {"key", 1U}}));
  EXPECT_EQ(clock.sleeps(), (std::vector<test::FakeClock::Duration>{100ms, 100ms}));
}

TEST_F(DeliveryTest, ARecordThatDoesNotComeToThePasteboardIsLoggedAndNothingIsPasted) {
  controller.lumet->bNonEnglish = 1;
  pasteboard.takes = false;
  controller.DisplayBarcode("1");
  EXPECT_TRUE(keyEvents.posts().empty());
  EXPECT_EQ(log.Count("-[SyncController DisplayBarcode:]:Couldn't set pasteboard"), 1U);
  EXPECT_TRUE(clock.sleeps().empty());
  EXPECT_EQ(controller.barcodeCount, 1);
  pasteboard.takes = true;
  controller.DisplayBarcode("2");
  EXPECT_EQ(pasteboard.texts(), std::vector<std::string>{"2"});
  EXPECT_EQ(keyEvents.posts(), Posts{Press(9, KeyFlag::kCommand)});
}

TEST_F(DeliveryTest, OtherNumbersOfDestinationsDeliverToTheFrontmostApplication) {
  for (const int destination : {2, 4, 9, -48}) {
    controller.lumet->destination = destination;
    controller.DisplayBarcode("x");
  }
  EXPECT_EQ(Typed(), "xxxx");
  EXPECT_TRUE(applications.opened.empty());
}

TEST_F(DeliveryTest, TheNamedApplicationIsOpenedBeforeTheRunAndBeforeEveryRecord) {
  controller.lumet->destination = 3;
  std::vector<std::size_t> opensBeforeKeys;
  keyEvents.onPost = [&] { opensBeforeKeys.push_back(applications.opened.size()); };
  controller.DoSynchronization();
  EXPECT_EQ(applications.opened.size(), 1U);
  controller.DisplayBarcode("1");
  controller.DisplayBarcode("2");
  EXPECT_EQ(opensBeforeKeys, (std::vector<std::size_t>{2, 3}));
  EXPECT_EQ(applications.opened, (std::vector<std::string>{kEditor, kEditor, kEditor}));
  EXPECT_EQ(log.Count("-[SyncController DisplayBarcode:][/usr/bin/editor]"), 2U);
  EXPECT_EQ(Typed(), "12");
}

TEST_F(DeliveryTest, OnlyTheNamedApplicationIsOpenedBeforeARun) {
  for (const int destination : {0, 1, 2, 4}) {
    controller.lumet->destination = destination;
    controller.DoSynchronization();
  }
  EXPECT_TRUE(applications.opened.empty());
}

TEST_F(DeliveryTest, AnApplicationThatIsListedIsSeenAtTheFirstLook) {
  EXPECT_TRUE(controller.RunApplication());
  EXPECT_EQ(applications.looks, 1);
  EXPECT_EQ(controller.applicationPath.Get(), kEditor);
  EXPECT_TRUE(log.Has("/usr/bin/editor Is Running"));
}

TEST_F(DeliveryTest, TenLooksFollowEachOtherWithoutAPause) {
  applications.looksBeforeListed = 9;
  EXPECT_TRUE(controller.RunApplication());
  EXPECT_EQ(applications.looks, 10);
  EXPECT_EQ(log.Count("/usr/bin/editor Is Running"), 1U);
  EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(DeliveryTest, AnApplicationThatTakesLongerThanTenLooksIsGivenUpSilently) {
  applications.looksBeforeListed = 10;
  log.Clear();
  EXPECT_FALSE(controller.RunApplication());
  EXPECT_EQ(applications.looks, 10);
  EXPECT_TRUE(clock.sleeps().empty());
  EXPECT_EQ(log.lines(), std::vector<std::string>{});
  controller.lumet->destination = 3;
  controller.DisplayBarcode("on it goes");
  EXPECT_EQ(Typed(), "on it goes");
}

TEST_F(DeliveryTest, APathThatNamesNothingIsLoggedAndTypingGoesOn) {
  controller.lumet->destination = 3;
  controller.lumet->appname.Set("/Applications/TextEdit");
  controller.DoSynchronization();
  controller.DisplayBarcode("7\r\n");
  EXPECT_EQ(log.Count(kNoReference), 2U);
  EXPECT_TRUE(applications.opened.empty());
  EXPECT_EQ(applications.looks, 0);
  EXPECT_EQ(controller.applicationPath.Get(), "/Applications/TextEdit");
  EXPECT_EQ(Typed(), "7\n");
}

TEST_F(DeliveryTest, AnApplicationThatDoesNotOpenIsLoggedAndTypingGoesOn) {
  controller.lumet->destination = 3;
  applications.opens = false;
  controller.DisplayBarcode("7");
  EXPECT_TRUE(
      log.Has("-[SyncController RunApplication]:Couldn't open application /usr/bin/editor"));
  EXPECT_EQ(applications.looks, 0);
  EXPECT_EQ(Typed(), "7");
}

TEST_F(DeliveryTest, PathsAreTakenAsTheyAre) {
  applications.running = {"/usr/bin/editor2", "/usr/bin/Editor", "/usr/bin/editor/"};
  controller.applicationPath.Set(kEditor);
  EXPECT_FALSE(controller.IsApplicationRunning());
  applications.running.push_back(kEditor);
  EXPECT_TRUE(controller.IsApplicationRunning());
}

TEST_F(DeliveryTest, DeliveredRecordsAreNotShown) {
  controller.DisplayBarcode("typed\n");
  controller.lumet->bNonEnglish = 1;
  controller.DisplayBarcode("pasted\n");
  EXPECT_EQ(View(), "");
}

}  // namespace
}  // namespace quillet
