#include <gtest/gtest.h>

#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::KeyEvent;
using platform::KeyFlag;
using Post = std::vector<KeyEvent>;
using Posts = std::vector<Post>;
using Texts = std::vector<std::string>;

constexpr const char* kEditor = "/usr/bin/editor";
constexpr const char* kNoReference = "-[SyncController RunApplication]:Couldn't get FSRef";

Post Press(std::uint16_t key, KeyFlag flag = KeyFlag::kNone) {
  const char character = CharacterOfKey(flag == KeyFlag::kShift ? KeyValue(key | kShiftBit) : key);
  return {{key, true, flag, character}, {key, false, KeyFlag::kNone, character}};
}

std::string CharacterOf(const KeyEvent& event) {
  for (char16_t character = 0; character < 0x80; ++character) {
    const KeyValue key = KeyForCharacter(character);
    if (key != kNoKey && event.virtualKey == (key & kKeyCodeMask) &&
        event.flag == (key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone)) {
      return {static_cast<char>(character)};
    }
  }
  return {};
}

class DeliveryTest : public test::AppFixture {
 protected:
  DeliveryTest() { applications.installed = {kEditor}; }

  /// Starts the program with these settings and connects a scanner with two records.
  void ConnectWith(const test::Choice& choice) {
    StartWith(choice);
    LaunchConnected(test::Scanner({"1", "2"}));
    clock.ForgetSleeps();
  }

  /// Returns the text that the posted keys type on a US keyboard.
  std::string Typed() const {
    std::string text;
    for (const Post& post : keyEvents.posts()) {
      for (const KeyEvent& event : post) {
        if (event.down) text += CharacterOf(event);
      }
    }
    return text;
  }

  /// Returns the displayed message.
  std::string Message() {
    mainQueue.RunAll();
    return display.Message();
  }

  int chosen = 0;
  bool archived = true;
  test::FakeStatusDisplay display;
  StatusStrip messages{display, mainQueue, log};
  Platform system{log,       clock,  tavo,   files,     mainQueue,  registry,
                  workspace, panels, ticker, keyEvents, pasteboard, applications};
  TargetApplication target{system, messages, [this] { ++chosen; }};
  ApplicationDelivery delivery{system,
                               messages,
                               {.showRuns = [] {},
                                .isArchived = [this] { return archived; },
                                .isReceiving = [] { return false; },
                                .guide = "/guide.md"}};
};

TEST_F(DeliveryTest, PressesKeysWithModifiers) {
  controller.SendKeyCode(0x80);
  controller.SendKeyCode(36);
  controller.SendCommandAndV();
  EXPECT_EQ(keyEvents.posts(),
            (Posts{Press(0, KeyFlag::kShift), Press(36), Press(9, KeyFlag::kCommand)}));
  EXPECT_EQ(SyncController::ConvertFromCharToKeyCode(u'A'), 0x80);
}

TEST_F(DeliveryTest, TypesWithoutPausesAndSkipsCharactersWithoutAKey) {
  using namespace std::string_literals;
  delivery.Deliver("Code 128,aB-7\t\n", false);
  delivery.Deliver("1\r\n", false);
  delivery.Deliver("2\r", false);
  delivery.Deliver("a\x01\x7F\x1B\0z"s, false);
  EXPECT_EQ(Typed(), "Code 128,aB-7\t\n1\n2az");
  EXPECT_TRUE(clock.sleeps().empty());
  EXPECT_TRUE(pasteboard.texts().empty());
}

TEST_F(DeliveryTest, RefusesAnUntypableRecordBeforePressingAnyKey) {
  keyEvents.untypable = "~\t";
  delivery.Deliver("a~b\tc\n", false);
  EXPECT_EQ(Typed(), "");
  EXPECT_EQ(Message(),
            "A record was not typed: the keyboard layout has no key for ~ Tab. Turn on "
            "\"Paste text instead of typing it\" in the settings.");
  EXPECT_EQ(log.Count("-[SyncController DisplayBarcode:]:Couldn't type ~ Tab"), 1U);
  delivery.Deliver("ab\n", false);
  EXPECT_EQ(Typed(), "ab\n");
  delivery.RunBegan();
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, ReportsATypingProblemBeforeTheFirstRecord) {
  keyEvents.onReadiness("permission was denied");
  EXPECT_EQ(Message(), "Quillet cannot type on this desktop: permission was denied.");
  keyEvents.onReadiness("");
  EXPECT_EQ(Message(), "");
  keyEvents.onReadiness("permission was denied");
  delivery.Deliver("1\n", false);
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, LostRecordMessageStaysUntilTheNextRecordIsTyped) {
  keyEvents.problem = "permission has not been granted yet";
  delivery.Deliver("1\n", false);
  keyEvents.onReadiness("");
  EXPECT_EQ(Message(), "Quillet cannot type on this desktop: permission has not been granted yet.");
}

TEST_F(DeliveryTest, RemovesTheTypingMessageIfRecordsGoToAFile) {
  keyEvents.onReadiness("permission was denied");
  delivery.Prepare(kToFile);
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, PreparesForTypingOnlyIfRecordsWillBeTyped) {
  for (const std::int32_t destination : {kToFile, kToView}) {
    delivery.Prepare(destination);
  }
  EXPECT_EQ(keyEvents.prepared, 0);
  for (const std::int32_t destination : {kToActiveApplication, kToNamedApplication}) {
    delivery.Prepare(destination);
  }
  EXPECT_EQ(keyEvents.prepared, 2);
}

TEST_F(DeliveryTest, CallsRecoverAtStartupRegardlessOfDestination) {
  ConnectWith({.destination = kToFile});
  EXPECT_EQ(keyEvents.recovered, 1);
  EXPECT_EQ(keyEvents.prepared, 0);
}

TEST_F(DeliveryTest, AwaitsReadinessOnlyIfRecordsAreTyped) {
  for (const std::int32_t destination : {kToFile, kToView}) delivery.AwaitReadiness(destination);
  EXPECT_EQ(keyEvents.awaited, 0);
  delivery.AwaitReadiness(kToActiveApplication);
  EXPECT_EQ(keyEvents.awaited, 1);
}

TEST_F(DeliveryTest, PreparesForTypingAtStartup) {
  ConnectWith({.destination = kToActiveApplication});
  EXPECT_EQ(keyEvents.prepared, 1);
}

TEST_F(DeliveryTest, PastesButNeverTypesNonAsciiText) {
  delivery.Deliver("12\xC3\xA9\n", false);
  EXPECT_TRUE(keyEvents.posts().empty());
  EXPECT_EQ(Message(),
            "A record was not typed: it contains non-English characters. Turn on \"Paste text "
            "instead of typing it\" in the settings.");
  EXPECT_EQ(display.Buttons(), Texts{"Show"});
  delivery.Deliver("12\xC3\xA9 \xE2\x82\xAC\r\n", true);
  EXPECT_EQ(pasteboard.texts(), Texts{"12\xC3\xA9 \xE2\x82\xAC\r\n"});
  EXPECT_EQ(keyEvents.posts(), Posts{Press(9, KeyFlag::kCommand)});
}

TEST_F(DeliveryTest, PausesBeforeAndAfterThePasteKeys) {
  std::vector<std::pair<std::string, std::size_t>> steps;
  pasteboard.onSet = [&] { steps.emplace_back("text", clock.sleeps().size()); };
  keyEvents.onPost = [&] { steps.emplace_back("key", clock.sleeps().size()); };
  delivery.Deliver("plain", true);
  EXPECT_EQ(steps, (decltype(steps){{"text", 0U}, {"key", 1U}}));
  EXPECT_EQ(clock.sleeps(), (std::vector<test::FakeClock::Duration>{100ms, 100ms}));
}

TEST_F(DeliveryTest, DoesNotPressKeysIfThePasteboardFails) {
  pasteboard.takes = false;
  delivery.Deliver("1", true);
  EXPECT_EQ(log.Count("-[SyncController DisplayBarcode:]:Couldn't set pasteboard"), 1U);
  EXPECT_TRUE(clock.sleeps().empty());
  EXPECT_EQ(Message(),
            "A record was not pasted: the clipboard is not available. The record is in the "
            "archive.");
  pasteboard.takes = true;
  delivery.Deliver("2", true);
  EXPECT_EQ(keyEvents.posts(), Posts{Press(9, KeyFlag::kCommand)});
  EXPECT_EQ(Message(),
            "Some text was not pasted: the clipboard was not available. The records are in the "
            "archive.");
  EXPECT_EQ(display.Buttons(), Texts{"Show"});
  delivery.RunBegan();
  EXPECT_EQ(Message(), "");
  delivery.Deliver("3", true);
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, SaysThatRecordsAreNeitherDeliveredNorSaved) {
  archived = false;
  pasteboard.takes = false;
  delivery.Deliver("1", true);
  EXPECT_EQ(Message(),
            "A record was not pasted: the clipboard is not available. The record was not saved "
            "either. Scan or synchronize again.");
  EXPECT_EQ(display.Buttons(), Texts{});
  delivery.RunBegan();
  delivery.KeyIgnored();
  EXPECT_EQ(Message(),
            "Quillet's window had focus, so the records were not delivered. The records were not "
            "saved either. Click the target window, then scan or synchronize again.");
  EXPECT_EQ(display.Buttons(), Texts{});
}

TEST_F(DeliveryTest, SaysWhyNothingCanBeTyped) {
  keyEvents.problem = "the X server has no XTEST extension";
  for (int i = 0; i < 3; ++i) delivery.Deliver("1", false);
  const std::string message =
      "Quillet cannot type on this desktop: the X server has no XTEST extension.";
  EXPECT_EQ(Message(), message);
  EXPECT_EQ(log.Count("Quillet: " + message), 1U);
  EXPECT_EQ(display.Buttons(), Texts{"Open guide"});
  display.Press(0);
  EXPECT_EQ(workspace.openedFiles, Texts{"/guide.md"});
}

TEST_F(DeliveryTest, SaysThatEarlierRecordsWereNotTyped) {
  keyEvents.problem = "the keyboard layout changed while a record was being typed";
  delivery.Deliver("1", false);
  keyEvents.problem = "";
  for (int i = 0; i < 3; ++i) delivery.Deliver("1", false);
  EXPECT_EQ(Message(),
            "Some text was not typed: the keyboard layout changed while a record was being "
            "typed. The records are in the archive.");
  EXPECT_EQ(display.Buttons(), Texts{"Show"});
  delivery.RunBegan();
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, WarnsThatAnInputMethodIsActive) {
  keyEvents.inputMethod = "libpinyin (IBus)";
  delivery.Deliver("1", true);
  EXPECT_EQ(Message(), "") << "An input method does not change pasted text.";
  for (int i = 0; i < 3; ++i) delivery.Deliver("1", false);
  const std::string message =
      "The input method libpinyin (IBus) is on and may change what Quillet types. Turn it off, or "
      "turn on \"Paste text instead of typing it\" in the settings.";
  EXPECT_EQ(Message(), message);
  EXPECT_EQ(log.Count("Quillet: " + message), 1U);
  EXPECT_EQ(keyEvents.posts().size(), 4U);
  keyEvents.inputMethod = "";
  delivery.Deliver("1", false);
  EXPECT_EQ(Message(), message) << "The input method is checked once per second.";
  clock.Advance(1s);
  delivery.Deliver("1", false);
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, SaysThatRecordsWereTypedIntoQuillet) {
  delivery.Deliver("1", false);
  for (int i = 0; i < 3; ++i) delivery.KeyIgnored();
  const std::string message =
      "Quillet's window had focus, so the records were not delivered. They are in the archive. "
      "Click the target window before you scan.";
  EXPECT_EQ(Message(), message);
  EXPECT_EQ(log.Count("Quillet: " + message), 1U);
  clock.Advance(2s);
  delivery.Deliver("2", false);
  EXPECT_EQ(Message(), message) << "Quillet ignored the previous record";
  clock.Advance(1ms);
  delivery.Deliver("3", false);
  const std::string lasting =
      "Quillet's window had focus, so some records were not delivered. The records are in the "
      "archive.";
  EXPECT_EQ(Message(), lasting);
  delivery.KeyIgnored();
  EXPECT_EQ(Message(), message);
  delivery.RunBegan();
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, CountsOnlyDeliveredRecords) {
  const auto deliver = [this](bool paste = false, const std::string& record = "1\r\n") {
    delivery.Deliver(record, paste);
    return delivery.Delivered();
  };
  EXPECT_EQ(deliver(), 1);
  EXPECT_EQ(deliver(false, "\xC3\xA9"), 1);
  EXPECT_EQ(deliver(true, "\xC3\xA9"), 2);
  EXPECT_EQ(deliver(false, ""), 3) << "an empty record is complete";
  keyEvents.untypable = "1";
  EXPECT_EQ(deliver(), 3);
  keyEvents.untypable = "";
  pasteboard.takes = false;
  EXPECT_EQ(deliver(true), 3);
  keyEvents.problem = "the keyboard layout changed";
  EXPECT_EQ(deliver(), 3);
  keyEvents.problem = "";
  EXPECT_EQ(deliver(), 4);
  delivery.RunBegan();
  EXPECT_EQ(delivery.Delivered(), 0);
}

TEST_F(DeliveryTest, DoesNotCountRecordsTypedIntoQuillet) {
  keyEvents.onPost = [this] { delivery.KeyIgnored(); };
  for (int i = 0; i < 50; ++i) delivery.Deliver("1", false);
  EXPECT_EQ(delivery.Delivered(), 0);
  keyEvents.onPost = nullptr;
  for (int i = 0; i < 250; ++i) {
    clock.Advance(1s);
    delivery.Deliver("1", false);
  }
  EXPECT_EQ(delivery.Delivered(), 250);
  delivery.KeyIgnored();
  EXPECT_EQ(delivery.Delivered(), 249);
}

TEST_F(DeliveryTest, SaysThatTheApplicationIsMissing) {
  const std::string missing =
      "The application \"TextEdit\" was not found. Choose another application.";
  target.Check(kToNamedApplication, "/Applications/TextEdit");
  EXPECT_EQ(Message(), missing);
  EXPECT_EQ(display.Buttons(), Texts{"Choose…"});
  display.Press(0);
  EXPECT_EQ(chosen, 1);
  target.Check(kToFile, "/Applications/TextEdit");
  EXPECT_EQ(Message(), "");
  target.Run("/Applications/TextEdit");
  EXPECT_EQ(Message(), missing);
  applications.opens = false;
  target.Run(kEditor);
  EXPECT_EQ(Message(),
            "The application \"editor\" could not be opened. Choose another application.");
  applications.opens = true;
  target.Run(kEditor);
  EXPECT_EQ(Message(), "");
}

TEST_F(DeliveryTest, ChecksUpToTenTimesWhetherTheApplicationIsRunning) {
  for (const int unlisted : {0, 9, 10}) {
    applications.looks = 0;
    applications.running.clear();
    applications.looksBeforeListed = unlisted;
    log.Clear();
    EXPECT_EQ(target.Run(kEditor), unlisted < 10);
    EXPECT_EQ(applications.looks, std::min(unlisted + 1, 10));
    EXPECT_EQ(log.lines(), unlisted < 10 ? Texts{"/usr/bin/editor Is Running"} : Texts{});
  }
  EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(DeliveryTest, ComparesApplicationPathsExactly) {
  applications.running = {"/usr/bin/editor2", "/usr/bin/Editor", "/usr/bin/editor/"};
  target.applicationPath.Set(kEditor);
  EXPECT_FALSE(target.IsRunning());
  applications.running.push_back(kEditor);
  EXPECT_TRUE(target.IsRunning());
}

/// Tests of destination 2 and of invalid destination numbers, which the program treats like 2.
class FrontmostTest : public DeliveryTest, public testing::WithParamInterface<int> {};

TEST_P(FrontmostTest, TypesRecordsWithoutShowingThem) {
  ConnectWith({.destination = GetParam()});
  Synchronize();
  EXPECT_EQ(Typed(), "1\n2\n");
  EXPECT_TRUE(applications.opened.empty());
  EXPECT_EQ(View(),
            "|Synchronization has started...|2 barcodes synchronized|"
            "Synchronization finished. Tavo can be plugged off now|");
}

INSTANTIATE_TEST_SUITE_P(Destinations, FrontmostTest, testing::Values(2, 4, 9, -48));

TEST_F(DeliveryTest, PastesEachRecordIfPastingIsOn) {
  ConnectWith({.destination = 2, .nonenglish = true});
  Synchronize();
  EXPECT_EQ(pasteboard.texts(), (Texts{"1\r\n", "2\r\n"}));
  EXPECT_EQ(Typed(), "");
}

TEST_F(DeliveryTest, OpensTheApplicationBeforeARunAndBeforeEachRecord) {
  ConnectWith({.destination = 3, .path = kEditor});
  Texts steps;
  keyEvents.onPost = [&] { steps.push_back(std::to_string(applications.opened.size())); };
  Synchronize();
  EXPECT_EQ(steps, (Texts{"2", "3"}));
  EXPECT_EQ(applications.opened, Texts(3, kEditor));
  EXPECT_EQ(log.Count("-[SyncController DisplayBarcode:][/usr/bin/editor]"), 2U);
  EXPECT_EQ(controller.applicationPath.Get(), kEditor);
  EXPECT_TRUE(controller.IsApplicationRunning());
}

TEST_F(DeliveryTest, TypesEvenIfTheApplicationCannotBeOpened) {
  ConnectWith({.destination = 3, .path = "/Applications/TextEdit"});
  Synchronize();
  EXPECT_EQ(log.Count(kNoReference), 3U);
  EXPECT_TRUE(applications.opened.empty());
  EXPECT_EQ(applications.looks, 0);
  applications.opens = false;
  EXPECT_FALSE(target.Run(kEditor));
  Choose(3, kEditor);
  Synchronize();
  EXPECT_EQ(log.Count("-[SyncController RunApplication]:Couldn't open application /usr/bin/editor"),
            4U);
  EXPECT_EQ(applications.looks, 0);
  EXPECT_EQ(Typed(), "1\n2\n1\n2\n");
}

}  // namespace
}  // namespace quillet
