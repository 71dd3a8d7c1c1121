#include <gtest/gtest.h>

#include <map>
#include <string>

#include "platform/linux/DesktopSession.h"
#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/X11KeyEvents.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"

namespace quillet::platform::linux_desktop {
namespace {

Environment Holding(std::map<std::string, std::string> variables) {
  return [variables = std::move(variables)](const char* name) {
    const auto found = variables.find(name);
    return found == variables.end() ? nullptr : found->second.c_str();
  };
}

TEST(DesktopSessionTest, WindowsAreOnTheXServerUnlessTheSessionIsWayland) {
  EXPECT_TRUE(IsX11Session(Holding({{"DISPLAY", ":0"}})));
  EXPECT_TRUE(IsX11Session(Holding({{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}})));
  EXPECT_TRUE(IsX11Session(Holding({{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", ""}})));
  EXPECT_FALSE(IsX11Session(Holding({{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", "wayland-0"}})));
  EXPECT_FALSE(IsX11Session(Holding({{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "wayland"}})));
  EXPECT_FALSE(IsX11Session(Holding({{"WAYLAND_DISPLAY", "wayland-0"}})));
  EXPECT_FALSE(IsX11Session(Holding({})));
  EXPECT_FALSE(IsX11Session(Holding({{"DISPLAY", ""}})));
}

TEST(DesktopSessionTest, KeysArePressedTheWayOfTheSession) {
  test::RecordingLog log;
  test::FakeClock clock;
  const auto onX11 = MakeKeyEventsOfSession(Holding({{"DISPLAY", ":0"}}), log, clock);
  EXPECT_NE(dynamic_cast<X11KeyEvents*>(onX11.get()), nullptr);
  const auto onWayland = MakeKeyEventsOfSession(
      Holding({{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", "wayland-0"}}), log, clock);
  EXPECT_NE(dynamic_cast<UinputKeyEvents*>(onWayland.get()), nullptr);
  const auto elsewhere = MakeKeyEventsOfSession(Holding({}), log, clock);
  EXPECT_NE(dynamic_cast<UinputKeyEvents*>(elsewhere.get()), nullptr);
}

TEST(DesktopSessionTest, AnXServerThatCannotBeReachedIsOneLogLine) {
  setenv("DISPLAY", "/nowhere:7", 1);
  test::RecordingLog log;
  X11KeyEvents keys(log);
  const KeyEvent press[] = {{0, true, KeyFlag::kNone}};
  keys.Post(press);
  keys.Post(press);
  EXPECT_EQ(log.lines(), std::vector<std::string>{
                             "Cannot type on this desktop: the X server cannot be reached"});
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
