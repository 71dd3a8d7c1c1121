#include <gtest/gtest.h>

#include <QWidget>

#include "platform/qt/QtWorkspace.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

class Workspace : public testing::Test {
 protected:
  void Activate() { platform::qt::QtWorkspace(window_).ActivateIgnoringOtherApps(); }

  QWidget window_;
};

TEST_F(Workspace, RaisesTheWindow) {
  QWidget other;
  window_.show();
  other.show();
  other.activateWindow();
  ASSERT_TRUE(SpinUntil([&] { return other.isActiveWindow(); }));
  Activate();
  EXPECT_TRUE(SpinUntil([&] { return window_.isActiveWindow(); }));
}

TEST_F(Workspace, IsActiveWhileAWindowHasFocus) {
  platform::qt::QtWorkspace workspace(window_);
  EXPECT_FALSE(workspace.IsActive());
  QWidget other;
  other.show();
  other.activateWindow();
  EXPECT_TRUE(SpinUntil([&] { return workspace.IsActive(); }));
}

TEST_F(Workspace, RestoresAMinimizedWindow) {
  window_.showMinimized();
  SpinUntilIdle();
  Activate();
  EXPECT_FALSE(window_.isMinimized());
  EXPECT_TRUE(window_.isVisible());
}

TEST_F(Workspace, DoesNotReopenAClosedWindow) {
  window_.show();
  window_.close();
  Activate();
  SpinUntilIdle();
  EXPECT_FALSE(window_.isVisible());
}

}  // namespace
}  // namespace quillet::window_tests
