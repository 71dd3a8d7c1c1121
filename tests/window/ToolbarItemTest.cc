#include <gtest/gtest.h>

#include <QAction>
#include <QPixmap>
#include <QTest>

#include "platform/qt/QtToolbarItem.h"
#include "platform/qt/ToolbarButton.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtToolbarItem;
using platform::qt::ToolbarButton;

QIcon PlainIcon(Qt::GlobalColor colour) {
  QPixmap pixmap(8, 8);
  pixmap.fill(colour);
  return QIcon(pixmap);
}

class ToolbarItem : public testing::Test {
 protected:
  ToolbarItem() {
    button_.show();
    item_.OnPress([this] { ++pressed_; });
  }

  QAction action_;
  QIcon green_ = PlainIcon(Qt::green);
  QIcon red_ = PlainIcon(Qt::red);
  QtToolbarItem item_{action_, {{"Connect", green_, "Start"}, {"Disconnect", red_, "Stop"}}};
  ToolbarButton button_{&action_};
  int pressed_ = 0;
};

TEST_F(ToolbarItem, TheLabelSelectsTheFace) {
  EXPECT_EQ(button_.icon().cacheKey(), green_.cacheKey());
  EXPECT_EQ(button_.toolTip(), "Start");
  item_.SetLabel("Disconnect");
  EXPECT_EQ(button_.icon().cacheKey(), red_.cacheKey());
  EXPECT_EQ(button_.toolTip(), "Stop");
}

TEST_F(ToolbarItem, LabelWithoutAFaceKeepsTheIcon) {
  item_.SetLabel("Wait");
  EXPECT_EQ(button_.text(), "Wait");
  EXPECT_EQ(button_.icon().cacheKey(), green_.cacheKey());
  EXPECT_EQ(button_.toolTip(), "Wait");
}

TEST_F(ToolbarItem, ToolTipShowsTheKeys) {
  action_.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_K));
  item_.SetLabel("Disconnect");
  EXPECT_EQ(button_.toolTip(), "Stop (Ctrl+K)");
}

TEST_F(ToolbarItem, MouseAndKeysPressIt) {
  QTest::mouseClick(&button_, Qt::LeftButton);
  EXPECT_EQ(pressed_, 1);
  QTest::keyClick(&button_, Qt::Key_Space);
  EXPECT_EQ(pressed_, 2);
  QTest::keyClick(&button_, Qt::Key_Return);
  EXPECT_EQ(pressed_, 3);
  QTest::keyClick(&button_, Qt::Key_Enter);
  EXPECT_EQ(pressed_, 4);
}

}  // namespace
}  // namespace quillet::window_tests
