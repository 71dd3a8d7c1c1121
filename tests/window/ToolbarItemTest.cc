#include <gtest/gtest.h>

#include <QAction>
#include <QPixmap>
#include <QTest>

#include "platform/qt/QtToolbarItem.h"
#include "platform/qt/ToolbarButton.h"

namespace quillet::window_tests {
namespace {

QIcon PlainIcon(Qt::GlobalColor colour) {
  QPixmap pixmap(8, 8);
  pixmap.fill(colour);
  return QIcon(pixmap);
}

class ToolbarItem : public testing::Test {
 protected:
  void ExpectFace(const char* label, const QIcon& icon, const char* toolTip) {
    item_.SetLabel(label);
    EXPECT_EQ(button_.text(), label);
    EXPECT_EQ(button_.icon().cacheKey(), icon.cacheKey());
    EXPECT_EQ(button_.toolTip(), toolTip);
  }

  QAction action_;
  QIcon green_ = PlainIcon(Qt::green);
  QIcon red_ = PlainIcon(Qt::red);
  platform::qt::QtToolbarItem item_{action_,
                                    {{"Connect", green_, "Start"}, {"Disconnect", red_, "Stop"}}};
  platform::qt::ToolbarButton button_{&action_};
};

TEST_F(ToolbarItem, LabelDeterminesIconAndToolTip) {
  ExpectFace("Connect", green_, "Start");
  ExpectFace("Disconnect", red_, "Stop");
  ExpectFace("Wait", red_, "Wait");
  action_.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_K));
  ExpectFace("Disconnect", red_, "Stop (Ctrl+K)");
}

TEST_F(ToolbarItem, SpaceReturnAndEnterPressTheButton) {
  int presses = 0;
  item_.OnPress([&] { ++presses; });
  button_.show();
  for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
    QTest::keyClick(&button_, key);
  }
  EXPECT_EQ(presses, 3);
}

}  // namespace
}  // namespace quillet::window_tests
