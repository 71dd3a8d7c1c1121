// Tests of the macOS backends for the pasteboard, the shared application object, launched
// applications and keys.

#include <CoreGraphics/CoreGraphics.h>

#include "platform/macos/AppKit.h"
#include "platform/macos/LaunchServicesApplications.h"
#include "platform/macos/QuartzKeyEvents.h"
#include "tests/macos/fakes/Fakes.h"
#include "tests/support/RecordingLog.h"

namespace quillet::macos_tests {
namespace {

using platform::KeyEvent;
using platform::KeyFlag;
using Texts = std::vector<std::string>;

struct GeneralPasteboardTest : testing::Test {
  Account account;
  platform::macos::GeneralPasteboard pasteboard;
};

TEST_F(GeneralPasteboardTest, ClearsContentsAndDeclaresTypeBeforeSettingText) {
  for (const std::string& text :
       {std::string("12\xC3\xA9 \xE2\x82\xAC\r\n"), std::string("a\0b", 3), std::string()}) {
    TheMac().calls.clear();
    EXPECT_TRUE(pasteboard.SetString(text));
    EXPECT_EQ(TheMac().calls,
              (Texts{"clearContents", "declareTypes:owner:", "setString:forType:"}));
    EXPECT_EQ(TheMac().declaredTypes, Texts{"public.utf8-plain-text"});
    EXPECT_EQ(TheMac().pasteboardOwner, "NSObject");
    EXPECT_EQ(TheMac().pasteboardText, text);
  }
}

TEST_F(GeneralPasteboardTest, IsEmptyAfterSettingInvalidUtf8) {
  pasteboard.SetString("first");
  EXPECT_FALSE(pasteboard.SetString("\xFF"));
  EXPECT_EQ(TheMac().pasteboardText, std::nullopt);
  EXPECT_EQ(TheMac().declaredTypes, Texts{"public.utf8-plain-text"});
}

TEST(SharedApplicationTest, PassesYesToActivateIgnoringOtherApps) {
  const Account account;
  platform::macos::SharedApplication().ActivateIgnoringOtherApps();
  EXPECT_EQ(TheMac().activations, 1);
}

TEST(SharedApplicationTest, ReturnsWhetherItIsActive) {
  const Account account;
  for (const bool active : {true, false}) {
    TheMac().active = active;
    EXPECT_EQ(platform::macos::SharedApplication().IsActive(), active);
  }
}

TEST(SharedApplicationTest, SelectsAFileInItsFolder) {
  const Account account;
  platform::macos::SharedApplication().ShowInFolder("/tmp/Ã©.txt");
  EXPECT_EQ(TheMac().selectedFiles, std::vector<std::string>{"/tmp/Ã©.txt"});
}

TEST(SharedApplicationTest, OpensAFile) {
  const Account account;
  platform::macos::SharedApplication().OpenFile("/tmp/\xC3\xA9.txt");
  EXPECT_EQ(TheMac().openedFiles, std::vector<std::string>{"/tmp/\xC3\xA9.txt"});
}

constexpr char kEditor[] = "/Applications/TextEdit.app";
constexpr char kOther[] = "/Applications/Other \xC3\xA9.app";

struct LaunchServicesApplicationsTest : testing::Test {
  LaunchServicesApplicationsTest() { TheMac().installed = {kEditor, kOther}; }

  Account account;
  platform::macos::LaunchServicesApplications applications;
};

TEST_F(LaunchServicesApplicationsTest, AcceptsOnlyPathsThatEndInApp) {
  EXPECT_TRUE(applications.HasApplication(kEditor));
  EXPECT_FALSE(applications.HasApplication("/Applications/TextEdit"));
  EXPECT_FALSE(applications.HasApplication(""));
}

TEST_F(LaunchServicesApplicationsTest, OpensAndListsApplicationsByPath) {
  EXPECT_TRUE(applications.OpenApplication(kEditor));
  EXPECT_TRUE(applications.OpenApplication(kOther));
  EXPECT_TRUE(applications.OpenApplication(kEditor)) << "running applications can be opened again";
  EXPECT_EQ(TheMac().opened, (Texts{kEditor, kOther, kEditor}));
  EXPECT_EQ(applications.LaunchedApplications(), (Texts{kEditor, kOther}));
}

TEST_F(LaunchServicesApplicationsTest, ReturnsFalseIfOpeningFails) {
  EXPECT_FALSE(applications.OpenApplication("/Applications/TextEdit"));
  TheMac().opens = false;
  EXPECT_FALSE(applications.OpenApplication(kEditor));
  EXPECT_EQ(TheMac().opened, Texts{});
}

TEST_F(LaunchServicesApplicationsTest, SkipsApplicationsWithoutAPath) {
  EXPECT_EQ(applications.LaunchedApplications(), Texts{});
  TheMac().listsNameless = true;
  TheMac().running = {kOther, "/System/Library/CoreServices/Finder.app"};
  EXPECT_EQ(applications.LaunchedApplications(), TheMac().running);
  TheMac().listsNothing = true;
  EXPECT_EQ(applications.LaunchedApplications(), Texts{});
}

constexpr std::uint16_t kKeyA = 0;
constexpr std::uint16_t kKeyV = 9;
constexpr std::uint16_t kReturn = 36;
constexpr std::int64_t kUserData = 0x5175696c6c6574;

struct QuartzKeyEventsTest : testing::Test {
  void Press(std::uint16_t key, KeyFlag flag) {
    const KeyEvent press[] = {{key, true, flag}, {key, false, KeyFlag::kNone}};
    events.Post(press);
  }

  /// Returns the expected event. Tap 2 is kCGAnnotatedSessionEventTap. Source state 0 is
  /// kCGEventSourceStateCombinedSessionState.
  static PostedKey Posted(std::uint16_t key, bool down, std::uint64_t flags = 0) {
    return {.tap = 2,
            .key = key,
            .down = down,
            .flags = flags,
            .flagsWereSet = flags != 0,
            .sourceState = 0,
            .userData = kUserData};
  }

  Account account;
  test::RecordingLog log;
  platform::macos::QuartzKeyEvents events{log};
};

TEST_F(QuartzKeyEventsTest, SetsModifierFlagsOnlyOnKeyDown) {
  Press(kReturn, KeyFlag::kNone);
  Press(kKeyA, KeyFlag::kShift);
  Press(kKeyV, KeyFlag::kCommand);
  EXPECT_EQ(TheMac().posted,
            (std::vector<PostedKey>{Posted(kReturn, true), Posted(kReturn, false),
                                    Posted(kKeyA, true, 0x20000), Posted(kKeyA, false),
                                    Posted(kKeyV, true, 0x100000), Posted(kKeyV, false)}));
  EXPECT_EQ(TheMac().requests, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(QuartzKeyEventsTest, AttachesPrintableCharactersToKeyDown) {
  const struct {
    KeyEvent press;
    std::u16string text;
  } keys[] = {
      {{kKeyA, true, KeyFlag::kNone, 'a'}, u"a"},   {{kKeyA, true, KeyFlag::kShift, 'A'}, u"A"},
      {{kReturn, true, KeyFlag::kNone, '\n'}, u""}, {{kKeyV, true, KeyFlag::kCommand, 'v'}, u""},
      {{kKeyV, true, KeyFlag::kNone, '\0'}, u""},
  };
  for (const auto& [press, text] : keys) {
    TheMac().posted.clear();
    const KeyEvent both[] = {press, {press.virtualKey, false, KeyFlag::kNone, press.character}};
    events.Post(both);
    ASSERT_EQ(TheMac().posted.size(), 2U);
    EXPECT_EQ(TheMac().posted[0].text, text) << press.character;
    EXPECT_EQ(TheMac().posted[1].text, u"");
  }
}

TEST_F(QuartzKeyEventsTest, ReleasesTheEventSourceAfterTheEvents) {
  Press(kKeyA, KeyFlag::kShift);
  EXPECT_EQ(TheMac().calls,
            (Texts{"source created", "down created", "down flags", "up created", "down posted",
                   "up posted", "down released", "up released", "source released"}));
}

TEST_F(QuartzKeyEventsTest, ToleratesFailureToCreateASourceOrAnEvent) {
  TheMac().hasSources = false;
  Press(kReturn, KeyFlag::kNone);
  ASSERT_EQ(TheMac().posted.size(), 2U);
  for (const PostedKey& posted : TheMac().posted) EXPECT_EQ(posted.sourceState, -1);
  TheMac().hasEvents = false;
  Press(kKeyA, KeyFlag::kShift);
  EXPECT_EQ(TheMac().posted.size(), 2U);
}

TEST_F(QuartzKeyEventsTest, RecognizesItsEventsByUserData) {
  const CGEventRef received = CGEventCreateKeyboardEvent(nullptr, kReturn, true);
  platform::macos::QuartzOwnKeys ownKeys;
  EXPECT_FALSE(ownKeys.IsOwnEvent(received));
  Press(kReturn, KeyFlag::kNone);
  CGEventSetIntegerValueField(received, 42, TheMac().posted.at(0).userData);
  EXPECT_TRUE(ownKeys.IsOwnEvent(received));
  CFRelease(received);
}

TEST_F(QuartzKeyEventsTest, RequestsPermissionOnceAndOnlyInPrepare) {
  events.Prepare();
  EXPECT_EQ(TheMac().requests, 0) << "The permission has been granted.";
  TheMac().mayPost = false;
  Press(kKeyA, KeyFlag::kNone);
  EXPECT_EQ(TheMac().requests, 0);
  for (int i = 0; i < 2; ++i) events.Prepare();
  EXPECT_EQ(TheMac().requests, 1);
}

TEST_F(QuartzKeyEventsTest, LogsMissingPermissionOnce) {
  TheMac().mayPost = false;
  Press(kKeyA, KeyFlag::kNone);
  Press(kKeyA, KeyFlag::kNone);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines()[0].find("Accessibility"), std::string::npos);
  EXPECT_EQ(TheMac().posted.size(), 4U) << "events must be posted even without permission";
}

}  // namespace
}  // namespace quillet::macos_tests
