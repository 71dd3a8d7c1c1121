#include <gtest/gtest.h>

#include <QWidget>

#include "platform/qt/QtWorkspace.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtWorkspace;

TEST(Workspace, BringsTheWindowToTheFront) {
  QWidget window;
  QWidget other;
  window.show();
  other.show();
  other.activateWindow();
  ASSERT_TRUE(SpinUntil([&] { return other.isActiveWindow(); }));
  QtWorkspace(window).ActivateIgnoringOtherApps();
  EXPECT_TRUE(SpinUntil([&] { return window.isActiveWindow(); }));
}

TEST(Workspace, RestoresAMinimizedWindow) {
  QWidget window;
  window.showMinimized();
  SpinUntilIdle();
  QtWorkspace(window).ActivateIgnoringOtherApps();
  EXPECT_FALSE(window.isMinimized());
  EXPECT_TRUE(window.isVisible());
}

TEST(Workspace, LeavesAClosedWindowClosed) {
  QWidget window;
  window.show();
  window.close();
  QtWorkspace(window).ActivateIgnoringOtherApps();
  SpinUntilIdle();
  EXPECT_FALSE(window.isVisible());
}

}  // namespace
}  // namespace quillet::window_tests
