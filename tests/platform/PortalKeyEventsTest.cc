#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/KeyStateProtocol.h"
#include "platform/linux/PortalKeyEvents.h"
#include "platform/linux/SessionLayout.h"
#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/WaylandSessionKeys.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/platform/Compositor.h"
#include "tests/platform/FakePlasmaLayouts.h"
#include "tests/platform/FakePortal.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using test::FakePortal;
using test::WaitFor;

constexpr char kNotYet[] =
    "permission has not been granted yet. Allow remote control when the desktop asks.";
constexpr char kDenied[] = "permission was denied. To request it again, press Settings, then Save.";
constexpr char kRevoked[] =
    "permission was revoked. To request it again, press Settings, then Save.";

void Type(KeyEvents& keys, const std::string& text, KeyFlag flag = KeyFlag::kNone) {
  std::vector<KeyEvent> events;
  for (const char character : text) {
    events.push_back({0, true, flag, character});
    events.push_back({0, false, KeyFlag::kNone, character});
  }
  keys.Post(events);
}

constexpr char kTypesThroughPortal[] = "Typing through the desktop portal";

struct PortalKeyEventsTest : testing::Test {
  /// Simulates a start of the program: creates `keys` on a desktop with these XKB layouts.
  void Begin(std::chrono::seconds patience = 0s, const std::string& layouts = "us") {
    keys.reset();
    layout.reset();
    compositor.emplace(false, layouts, true);
    layout.emplace();
    keys.emplace(log, clock, files, sent, tokenFile, patience, &*layout);
  }
  bool AwaitProblem(const std::string& problem) {
    return WaitFor([&] { return keys->Problem() == problem; });
  }

  FakePortal portal;
  // The dconf backend would connect to the bus, and GIO would end the process when the bus closes.
  const test::Variable settings{"GSETTINGS_BACKEND", "memory"};
  std::optional<test::Compositor> compositor;
  std::optional<SessionLayout> layout;
  test::RecordingLog log;
  test::FakeClock clock{100000};
  posix::PosixFileStore files;
  SentKeys sent{300ms};
  test::TemporaryFolder folder;
  const std::string tokenFile = folder / "quillet/typing-permission";
  std::optional<PortalKeyEvents> keys;
};

TEST_F(PortalKeyEventsTest, TypesAfterPermissionIsGranted) {
  portal.Start();
  Begin();
  keys->Prepare();
  Type(*keys, "aB\n");
  EXPECT_EQ(portal.keysyms(), "+61 -61 +42 -42 +ff0d -ff0d ");
  EXPECT_EQ(keys->Problem(), "");
  EXPECT_EQ(log.lines(), std::vector<std::string>{kTypesThroughPortal});
  Type(*keys, "v", KeyFlag::kCommand);
  EXPECT_TRUE(portal.keysyms().ends_with("+ffe3 +76 -76 -ffe3 "));
}

TEST_F(PortalKeyEventsTest, StoresThePermissionTokenInAPrivateFile) {
  portal.Start();
  for (const char* expected : {"", "token 1", "token 2"}) {
    Begin();
    keys->Prepare();
    ASSERT_TRUE(AwaitProblem(""));
    auto options = portal.selections().back();
    EXPECT_EQ(options["types"], "1");
    EXPECT_EQ(options["persist_mode"], "2");
    EXPECT_EQ(options["restore_token"], expected);
  }
  struct stat status {};
  ASSERT_EQ(stat(tokenFile.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(PortalKeyEventsTest, DoesNotRequestATokenFromAnOldPortal) {
  portal.version = 1;
  portal.Start();
  Begin();
  keys->Prepare();
  ASSERT_TRUE(AwaitProblem(""));
  EXPECT_EQ(portal.selections().back().count("persist_mode"), 0U);
}

TEST_F(PortalKeyEventsTest, RequestsPermissionOnlyInPrepare) {
  portal.user = FakePortal::User::kDenies;
  portal.Start();
  Begin();
  Type(*keys, "a");
  EXPECT_EQ(keys->Problem(), kNotYet);
  EXPECT_EQ(portal.questions(), 0);
  keys->Prepare();
  Type(*keys, "a");
  EXPECT_EQ(keys->Problem(), kDenied);
  EXPECT_EQ(portal.questions(), 1);
  portal.user = FakePortal::User::kGrants;
  keys->Prepare();
  ASSERT_TRUE(WaitFor([&] { return log.Has(kTypesThroughPortal); }));
  EXPECT_EQ(portal.questions(), 2);
  keys->Prepare();
  Type(*keys, "b");
  EXPECT_EQ(keys->Problem(), "");
  EXPECT_EQ(portal.questions(), 2);
  EXPECT_EQ(portal.keysyms(), "+62 -62 ");
}

TEST_F(PortalKeyEventsTest, ReportsTheUsersAnswerBeforeARecordIsTyped) {
  portal.user = FakePortal::User::kDenies;
  portal.Start();
  Begin();
  std::atomic<int> reports = 0;
  std::string problem;
  keys->OnReadiness([&](const std::string& now) {
    problem = now;
    ++reports;
  });
  keys->Prepare();
  ASSERT_TRUE(WaitFor([&] { return reports == 1; }));
  EXPECT_EQ(problem, kDenied);
  portal.user = FakePortal::User::kGrants;
  keys->Prepare();
  ASSERT_TRUE(WaitFor([&] { return reports == 2; }));
  EXPECT_EQ(problem, "");
}

TEST_F(PortalKeyEventsTest, ReportsARecordDroppedBeforePermissionWasGranted) {
  portal.Start();
  Begin();
  Type(*keys, "a");
  keys->Prepare();
  ASSERT_TRUE(WaitFor([&] { return log.Has(kTypesThroughPortal); }));
  keys->Untypable("a");  // returns when the session is ready
  EXPECT_EQ(keys->Problem(), kNotYet);
  Type(*keys, "b");
  EXPECT_EQ(keys->Problem(), "");
}

TEST_F(PortalKeyEventsTest, IsMissingReturnsTrueAfterWaitingForThePortal) {
  Begin(4s);
  keys->Prepare();
  EXPECT_TRUE(keys->IsMissing());
}

TEST_F(PortalKeyEventsTest, ReportsRevokedPermission) {
  portal.Start();
  Begin();
  keys->Prepare();
  Type(*keys, "a");
  portal.CloseSession();
  ASSERT_TRUE(AwaitProblem(kRevoked));
  Type(*keys, "b");
  EXPECT_EQ(portal.keysyms(), "+61 -61 ");
  EXPECT_EQ(portal.questions(), 1);
  EXPECT_TRUE(log.Has(std::string("Quillet cannot type on this desktop: ") + kRevoked));
}

TEST_F(PortalKeyEventsTest, StopsTypingARecordAtTheFirstRejectedKey) {
  portal.refusedKeysym = 'b';
  portal.Start();
  Begin();
  keys->Prepare();
  Type(*keys, "abc" + std::string(100, 'd'));
  EXPECT_EQ(portal.keysyms(), "+61 -61 ");
  EXPECT_EQ(keys->Problem(), "the remote desktop portal rejected a keystroke");
  Type(*keys, "e");
  EXPECT_EQ(portal.keysyms(), "+61 -61 +65 -65 ");
  EXPECT_EQ(keys->Problem(), "");
}

TEST_F(PortalKeyEventsTest, DoesNotBlockOtherThreadsWhileItTypes) {
  portal.ignoresPresses = true;
  portal.Start();
  Begin();
  keys->Prepare();
  ASSERT_TRUE(AwaitProblem(""));
  const auto start = std::chrono::steady_clock::now();
  std::thread typist([&] { Type(*keys, "a"); });
  std::this_thread::sleep_for(100ms);
  keys->Prepare();
  keys->Problem();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  typist.join();  // returns when the time-out for the press expires
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
  EXPECT_EQ(keys->Problem(), "the remote desktop portal rejected a keystroke");
}

TEST_F(PortalKeyEventsTest, ReportsThatThePortalHasExited) {
  portal.Start();
  Begin();
  keys->Prepare();
  ASSERT_TRUE(AwaitProblem(""));
  portal.End();
  EXPECT_TRUE(AwaitProblem(kRevoked));
}

TEST_F(PortalKeyEventsTest, WaitsForAPortalThatStartsLate) {
  Begin(60s);
  keys->Prepare();
  EXPECT_EQ(keys->Problem(), kNotYet);
  portal.Start();
  EXPECT_TRUE(AwaitProblem(""));
}

TEST_F(PortalKeyEventsTest, TypesTheFirstRecordIfThePortalStartsLate) {
  Begin(60s);
  keys->Prepare();
  std::thread desktop([&] {
    std::this_thread::sleep_for(4s);
    portal.Start();
  });
  Type(*keys, "a");
  desktop.join();
  EXPECT_EQ(portal.keysyms(), "+61 -61 ");
  EXPECT_EQ(keys->Problem(), "");
}

TEST_F(PortalKeyEventsTest, WaitsThreeSecondsForTheUsersAnswer) {
  portal.user = FakePortal::User::kDoesNotAnswer;
  portal.Start();
  Begin(60s);
  keys->Prepare();
  const auto start = std::chrono::steady_clock::now();
  Type(*keys, "a");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
  EXPECT_EQ(keys->Problem(), kNotYet);
}

TEST_F(PortalKeyEventsTest, RefusesCharactersMissingFromTheLayout) {
  portal.Start();
  Begin(0s, "ru");
  keys->Prepare();
  EXPECT_EQ(keys->Untypable("1ab1a\n"), "ab");
}

TEST_F(PortalKeyEventsTest, TypesOnlyKeysSharedByAllLayoutsOnPlasma) {
  test::FakePlasmaLayouts plasma;
  plasma.active = 1;
  portal.Start();
  Begin(0s, "gb,us");
  keys->Prepare();
  EXPECT_EQ(keys->Untypable("a\"A@"), "\"@");
}

TEST_F(PortalKeyEventsTest, PastesWithShiftInsertIfTheLayoutLacksV) {
  portal.Start();
  Begin(0s, "ru");
  keys->Prepare();
  Type(*keys, "v", KeyFlag::kCommand);
  EXPECT_EQ(portal.keysyms(), "+ffe1 +ff63 -ff63 -ffe1 ");
  EXPECT_EQ(keys->Problem(), "");
}

TEST_F(PortalKeyEventsTest, TypesNothingIfTheLayoutIsUnknown) {
  portal.Start();
  keys.emplace(log, clock, files, sent, tokenFile, 0s);
  keys->Prepare();
  for (const KeyFlag flag : {KeyFlag::kNone, KeyFlag::kCommand}) {
    Type(*keys, "v", flag);
    EXPECT_EQ(keys->Problem(), "the desktop does not report its keyboard layout");
  }
  EXPECT_EQ(portal.keysyms(), "");
}

TEST_F(PortalKeyEventsTest, SendsTheOppositeCaseIfCapsLockIsOn) {
  constexpr std::uint32_t kLocked = 2;
  portal.Start();
  Begin();
  compositor->SetKeyState(kCapsLockState, kLocked);
  keys->Prepare();
  EXPECT_EQ(keys->Untypable("aB1!"), "");
  Type(*keys, "aB1!");
  EXPECT_EQ(portal.keysyms(), "+41 -41 +62 -62 +31 -31 +21 -21 ");
}

TEST_F(PortalKeyEventsTest, ReportsALayoutChangeWhileTypingARecord) {
  test::FakePlasmaLayouts plasma;
  portal.onPress = [&](std::int32_t keysym) {
    if (keysym == 'b') plasma.active = 1;
  };
  portal.Start();
  Begin(0s, "us,de");
  keys->Prepare();
  Type(*keys, "ab" + std::string(100, 'c') + "d");
  EXPECT_EQ(keys->Problem(), "the keyboard layout changed while a record was being typed");
  EXPECT_EQ(portal.keysyms().find("+64"), std::string::npos);  // 0x64: the keysym of "d"
  Type(*keys, "e");
  EXPECT_EQ(keys->Problem(), "");
}

TEST_F(PortalKeyEventsTest, CanBeDestroyedBeforeTheUserAnswers) {
  portal.user = FakePortal::User::kDoesNotAnswer;
  portal.Start();
  Begin();
  keys->Prepare();
  ASSERT_TRUE(WaitFor([&] { return portal.questions() == 1; }));
  EXPECT_EQ(keys->Problem(), kNotYet);
  keys.reset();
}

TEST_F(PortalKeyEventsTest, EndWaitsForKeysThatAreBeingTyped) {
  std::atomic<bool> isTyping = false;
  portal.onPress = [&](std::int32_t) {
    isTyping = true;
    std::this_thread::sleep_for(100ms);
  };
  portal.Start();
  Begin();
  keys->Prepare();
  std::thread typist([&] { Type(*keys, "ab"); });
  EXPECT_TRUE(WaitFor([&] { return isTyping.load(); }));
  keys->End();
  EXPECT_EQ(portal.keysyms(), "+61 -61 +62 -62 ");
  typist.join();
  Type(*keys, "c");
  EXPECT_EQ(portal.keysyms(), "+61 -61 +62 -62 ");
}

TEST_F(PortalKeyEventsTest, RecognizesSentKeysRegardlessOfKeyCode) {
  portal.Start();
  Begin();
  keys->Prepare();
  Type(*keys, "a");
  const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(clock.Now());
  EXPECT_TRUE(sent.IsOwnKey({.code = 16, .down = true, .time = now}));
  EXPECT_TRUE(sent.IsOwnKey({.code = 16, .down = false, .time = now}));
  EXPECT_FALSE(sent.IsOwnKey({.code = 16, .down = true, .time = now}));
}

struct WaylandSessionKeysTest : PortalKeyEventsTest {
  void Choose(bool hasPortal, const std::string& way) {
    WaylandSessionKeys session({.hasPortal = hasPortal, .tokenFile = tokenFile}, log, clock, files,
                               sent);
    session.Prepare();
    EXPECT_EQ(session.Problem(), "");  // Prepare has chosen a backend
    EXPECT_TRUE(log.Has(way)) << testing::PrintToString(log.lines());
    for (const std::string& line : log.lines())
      EXPECT_FALSE(line.starts_with("Cannot type")) << line;
    log.Clear();
  }
};

TEST_F(WaylandSessionKeysTest, PrefersThePortalOnlyOnDesktopsKnownToSupportIt) {
  compositor.emplace();
  portal.Start();
  Choose(true, kTypesThroughPortal);
  EXPECT_EQ(portal.questions(), 1);
  Choose(false, "Typing through the compositor's virtual keyboard");
  EXPECT_EQ(portal.questions(), 1);
}

TEST_F(WaylandSessionKeysTest, UsesThePortalIfVirtualKeyboardsAreUnsupported) {
  compositor.emplace(false);
  portal.Start();
  Choose(false, kTypesThroughPortal);
}

TEST_F(WaylandSessionKeysTest, UsesUinputIfNothingElseIsAvailable) {
  compositor.emplace(false);
  Choose(false, "Typing through /dev/uinput");
}

TEST_F(WaylandSessionKeysTest, ReportsTheProblemWithTheLastMethodTried) {
  compositor.emplace(false);
  WaylandSessionKeys session({.hasPortal = false, .tokenFile = tokenFile}, log, clock, files, sent);
  Type(session, "a");  // before Prepare
  session.Prepare();
  ASSERT_TRUE(WaitFor([&] { return log.Has("The desktop has no remote desktop portal"); }));
  EXPECT_EQ(session.Problem(), kNotYet);
  EXPECT_EQ(session.Untypable("a"), "");
  EXPECT_TRUE(log.Has("Typing through /dev/uinput"));
  EXPECT_EQ(session.Problem(), kNotYet);
}

TEST_F(WaylandSessionKeysTest, ReportsInaccessibleUinputBeforeARecordIsTyped) {
  compositor.emplace(false);
  WaylandSessionKeys session({.hasPortal = false, .tokenFile = tokenFile}, log, clock, files, sent);
  std::promise<std::string> problem;
  session.OnReadiness([&](const std::string& now) { problem.set_value(now); });
  session.Prepare();
  EXPECT_EQ(problem.get_future().get(), UinputProblem("/dev/uinput"));
}

TEST_F(WaylandSessionKeysTest, DoesNotRequestPermissionAfterChoosingUinput) {
  compositor.emplace(false);
  WaylandSessionKeys session({.hasPortal = false, .tokenFile = tokenFile}, log, clock, files, sent);
  session.Prepare();
  EXPECT_EQ(session.Problem(), "");
  portal.Start();
  session.Prepare();
  EXPECT_FALSE(WaitFor([&] { return portal.questions() > 0; }, 1s));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
