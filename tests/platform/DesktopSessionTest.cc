#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <tuple>

#include "platform/linux/DesktopSession.h"
#include "platform/linux/WaylandSessionKeys.h"
#include "platform/linux/X11KeyEvents.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"

namespace quillet::platform::linux_desktop {
namespace {

TEST(DesktopSessionTest, KeepsItsStateInTheUsersStateFolder) {
  for (const auto& [variable, home, folder] :
       {std::tuple("/state", "/home/bea", "/state/quillet"),
        {"/state", "", "/state/quillet"},
        {"", "/home/bea", "/home/bea/.local/state/quillet"},
        {"state", "/home/bea", "/home/bea/.local/state/quillet"},
        {"", "home", ""},
        {"", "", ""}}) {
    const Environment environment = [value = variable](const char* name) {
      return name == std::string_view("XDG_STATE_HOME") ? value : nullptr;
    };
    EXPECT_EQ(StateFolder(environment, home), folder) << variable << " " << home;
  }
}

TEST(DesktopSessionTest, SendsKeysThroughX11OnlyInAnX11Session) {
  const struct {
    bool isX11;
    std::map<std::string, std::string> variables;
  } sessions[] = {
      {true, {{"DISPLAY", ":0"}}},
      {true, {{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}}},
      {true, {{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", ""}}},
      {false, {{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", "wayland-0"}}},
      {false, {{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "wayland"}}},
      {false, {{"WAYLAND_DISPLAY", "wayland-0"}}},
      {false, {}},
      {false, {{"DISPLAY", ""}}},
  };
  test::RecordingLog log;
  test::FakeClock clock;
  posix::PosixFileStore files;
  for (const auto& session : sessions) {
    const Environment environment = [&session](const char* name) {
      const auto found = session.variables.find(name);
      return found == session.variables.end() ? nullptr : found->second.c_str();
    };
    EXPECT_EQ(IsX11Session(environment), session.isX11);
    const SessionKeys keys = MakeKeysOfSession(environment, log, clock, files, nullptr);
    EXPECT_EQ(dynamic_cast<X11KeyEvents*>(keys.events.get()) != nullptr, session.isX11);
    EXPECT_EQ(dynamic_cast<WaylandSessionKeys*>(keys.events.get()) != nullptr, !session.isX11);
  }
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
