#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/linux/KeyStateProtocol.h"
#include "platform/linux/UserModifiers.h"
#include "tests/platform/Compositor.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"

namespace quillet::platform::linux_desktop {
namespace {

using State = UserModifiers::State;

constexpr std::uint32_t kLatched = 1;
constexpr std::uint32_t kLocked = 2;
constexpr std::uint32_t kPressed = 3;

struct UserModifiersTest : testing::Test {
  void SetLed(const std::string& name, int brightness) {
    std::filesystem::create_directories(folder / name);
    std::ofstream(folder / name + "/brightness") << brightness << '\n';
  }

  test::TemporaryFolder folder;
  test::Variable noCompositor{"WAYLAND_DISPLAY", "none"};
  UserModifiers modifiers{folder.path()};
};

TEST_F(UserModifiersTest, ReadsTheLedsOfAllKeyboards) {
  EXPECT_EQ(modifiers.Read(), State{});
  SetLed("input3::capslock", 0);
  SetLed("input3::numlock", 1);
  EXPECT_EQ(modifiers.Read(), State{});
  SetLed("input12::capslock", 1);
  EXPECT_EQ(modifiers.Read(), (State{.isCapsLockOn = true}));
}

TEST_F(UserModifiersTest, ReportsNoModifiersIfTheLedFolderIsMissing) {
  EXPECT_EQ(UserModifiers(folder / "none").Read(), State{});
}

TEST_F(UserModifiersTest, PrefersTheStateThatKwinReports) {
  test::Compositor compositor(false, "us", true);
  SetLed("input3::capslock", 1);
  EXPECT_EQ(modifiers.Read(), State{});
  compositor.SetKeyState(kCapsLockState, kLocked);
  EXPECT_EQ(modifiers.Read(), (State{.isCapsLockOn = true}));
  compositor.SetKeyState(kCapsLockState, 0);
  for (const std::uint32_t state : {kLatched, kLocked, kPressed}) {
    compositor.SetKeyState(kShiftState, state);
    EXPECT_EQ(modifiers.Read(), (State{.isKeyHeld = true}));
  }
}

TEST_F(UserModifiersTest, ReadsTheLedsIfKwinHasExited) {
  SetLed("input3::capslock", 1);
  test::Compositor compositor(false, "us", true);
  EXPECT_EQ(modifiers.Read(), State{});
  compositor.Disconnect();
  EXPECT_EQ(modifiers.Read(), (State{.isCapsLockOn = true}));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
