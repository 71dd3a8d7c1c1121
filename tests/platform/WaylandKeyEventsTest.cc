#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/linux/WaylandKeyEvents.h"
#include "tests/platform/Compositor.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using test::Compositor;

std::string TypableCharacters() {
  std::string all = "\t\n";
  for (char character = ' '; character <= '~'; ++character) all += character;
  return all;
}

struct WaylandKeyEventsTest : testing::Test {
  void Type(const std::string& text, KeyFlag flag = KeyFlag::kNone) {
    std::vector<KeyEvent> events;
    for (const char character : text) {
      events.push_back({0, true, flag, character});
      events.push_back({0, false, KeyFlag::kNone, character});
    }
    keys.Post(events);
  }

  test::RecordingLog log;
  test::FakeClock clock{100000};
  SentKeys sent{0ms};
  WaylandKeyEvents keys{log, clock, sent};
};

TEST_F(WaylandKeyEventsTest, TypesAllCharactersWithoutModifiers) {
  const Compositor compositor;
  std::string expected = TypableCharacters();
  ASSERT_EQ(expected.size(), 97U);
  Type(expected);
  std::replace(expected.begin(), expected.end(), '\n', '\r');  // the Return key produces CR
  EXPECT_EQ(compositor.text(), expected);
  const auto received = compositor.keys();
  ASSERT_EQ(received.size(), 2 * 97U);
  for (std::size_t i = 0; i < received.size(); ++i) {
    EXPECT_EQ(received[i].down, i % 2 == 0);
    EXPECT_EQ(received[i].code, received[i / 2 * 2].code);
    EXPECT_EQ(received[i].modifiers, 0U);
  }
  EXPECT_EQ(keys.Problem(), "");
}

TEST_F(WaylandKeyEventsTest, UsesUsKeyCodesForUnshiftedCharacters) {
  const Compositor compositor;
  Type("1q\n\tv");
  std::vector<std::uint32_t> codes;
  for (const auto& key : compositor.keys()) {
    if (key.down) codes.push_back(key.code);
  }
  EXPECT_EQ(codes, (std::vector<std::uint32_t>{KEY_1, KEY_Q, KEY_ENTER, KEY_TAB, KEY_V}));
}

TEST_F(WaylandKeyEventsTest, MapsTheCommandModifierToControl) {
  const Compositor compositor;
  Type("v", KeyFlag::kCommand);
  constexpr std::uint32_t kControl = 4;
  const auto received = compositor.keys();
  ASSERT_EQ(received.size(), 4U);
  EXPECT_EQ(received[0].code, static_cast<std::uint32_t>(KEY_LEFTCTRL));
  EXPECT_EQ(received[1].text, "v");
  EXPECT_EQ(received[1].modifiers, kControl);
  EXPECT_FALSE(received[2].down);
  EXPECT_EQ(received[3].modifiers, 0U);
}

TEST_F(WaylandKeyEventsTest, DoesNotPauseForAnOrdinaryRecord) {
  const Compositor compositor;
  Type("a");
  clock.ForgetSleeps();
  clock.Advance(1s);
  Type("4006381333931,12345678901234567890,16.11.2026,01:04:09,x12\n");
  EXPECT_EQ(clock.sleeps(), std::vector<test::FakeClock::Duration>{});
}

TEST_F(WaylandKeyEventsTest, WaitsOnceForANewKeyboard) {
  const Compositor compositor;
  Type("abc");
  EXPECT_EQ(clock.sleeps(), std::vector<test::FakeClock::Duration>{300ms});
}

TEST_F(WaylandKeyEventsTest, RecognizesSentKeysAsOwnKeys) {
  const Compositor compositor;
  Type("aA");
  for (const auto& key : compositor.keys()) {
    const WindowKey received{.code = static_cast<std::uint16_t>(key.code),
                             .down = key.down,
                             .time = std::chrono::milliseconds(key.time)};
    EXPECT_TRUE(sent.IsOwnKey(received));
    EXPECT_FALSE(sent.IsOwnKey(received));
  }
}

TEST_F(WaylandKeyEventsTest, TypesMoreThanAThousandCharactersPerSecond) {
  const Compositor compositor;
  Type("a");
  const auto start = clock.Now();
  Type(std::string(10000, 'b'));
  const std::chrono::duration<double> taken = clock.Now() - start;
  EXPECT_EQ(compositor.text().size(), 10001U);
  EXPECT_GT(10000 / taken.count(), 1000);
}

TEST_F(WaylandKeyEventsTest, ReconnectsAfterTheCompositorHasRestarted) {
  Compositor compositor;
  Type("a");
  compositor.Disconnect();
  Type("b");  // detects that the connection has ended
  Type("c");
  EXPECT_EQ(compositor.text(), "ac");
  EXPECT_EQ(keys.Problem(), "");
}

TEST_F(WaylandKeyEventsTest, DropsTheRestOfAnInterruptedRecord) {
  Compositor compositor;
  Type("a");
  clock.Advance(1s);
  clock.OnSleep([&] {
    clock.OnSleep(nullptr);
    compositor.Disconnect();
  });
  Type(std::string(280, 'b'));  // sent in four parts; the connection ends after the first
  EXPECT_EQ(compositor.text(), "a" + std::string(70, 'b'));
  EXPECT_EQ(keys.Problem(), "the Wayland compositor is not accepting keystrokes from Quillet");
  Type("c");
  EXPECT_TRUE(compositor.text().ends_with("bc"));
  EXPECT_EQ(keys.Problem(), "");
}

TEST_F(WaylandKeyEventsTest, DoesNotLoseKeysIfTheCompositorIsSlow) {
  Compositor compositor;
  WaylandKeyEvents impatient(log, clock, sent, 50ms);
  const auto type = [&](char character) {
    const KeyEvent press[] = {{0, true, KeyFlag::kNone, character},
                              {0, false, KeyFlag::kNone, character}};
    impatient.Post(press);
    return impatient.Problem().empty();
  };
  ASSERT_TRUE(test::WaitFor([&] { return type('a'); }));
  const std::string before = compositor.text();
  compositor.Stop();
  EXPECT_TRUE(test::WaitFor([&] { return !type('b'); }));
  compositor.Continue();
  EXPECT_TRUE(test::WaitFor([&] { return type('c'); }));
  EXPECT_TRUE(compositor.text().starts_with(before + "b"));
  EXPECT_TRUE(compositor.text().ends_with("c"));
}

TEST_F(WaylandKeyEventsTest, ReportsAMissingCompositorOrVirtualKeyboard) {
  {
    const Compositor compositor(false);
    EXPECT_FALSE(keys.IsOffered());
    Type("a");
    EXPECT_EQ(keys.Problem(), "the Wayland compositor does not support virtual keyboards");
  }
  Type("a");
  EXPECT_EQ(keys.Problem(), "the Wayland compositor cannot be reached");
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
