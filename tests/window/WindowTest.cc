#include <gtest/gtest.h>

#include <QWidget>
#include <QWindow>

#include "platform/qt/QtWindow.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtWindow;

class WindowControl : public testing::Test {
 protected:
  WindowControl() { widget_.show(); }

  QWidget widget_;
  QtWindow window_{widget_};
};

TEST_F(WindowControl, TitleStandsAsGiven) {
  for (const char* title : {"Quillet V1.25", "Quillet V1.25[30012345]", "Quillet V1.25[*]",
                            "Quillet V1.25[\xC3\xA9]", "Quillet V1.25"}) {
    window_.SetTitle(title);
    EXPECT_EQ(widget_.windowHandle()->title().toStdString(), title);
  }
}

TEST_F(WindowControl, ClosingIsReportedOnceWhileTheWindowIsStillThere) {
  int closed = 0;
  bool visible = false;
  window_.OnClose([&] {
    ++closed;
    visible = widget_.isVisible();
  });
  widget_.close();
  EXPECT_EQ(closed, 1);
  EXPECT_TRUE(visible);
  EXPECT_FALSE(widget_.isVisible());
  widget_.show();
  widget_.close();
  EXPECT_EQ(closed, 1);
}

TEST_F(WindowControl, ClosingByTheDesktopIsReported) {
  int closed = 0;
  window_.OnClose([&] { ++closed; });
  widget_.windowHandle()->close();
  SpinUntilIdle();
  EXPECT_EQ(closed, 1);
}

TEST_F(WindowControl, HidingIsNotClosing) {
  int closed = 0;
  window_.OnClose([&] { ++closed; });
  widget_.hide();
  EXPECT_EQ(closed, 0);
}

}  // namespace
}  // namespace quillet::window_tests
