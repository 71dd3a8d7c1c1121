#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QToolButton>
#include <QWindow>

#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtOwnKeyFilter.h"
#include "tests/window/MainLoop.h"
#include "tests/window/Widgets.h"

namespace quillet::window_tests {
namespace {

/// Treats all keys as posted by the program if `own` is true, otherwise none.
struct FakeOwnKeys final : platform::OwnKeys {
  bool IsOwnEvent(const void*) override { return false; }
  bool IsOwnKey(const platform::WindowKey& key) override {
    keys += key.down ? '+' : '-';
    return own;
  }
  bool own = true;
  std::string keys;
};

class OwnKeyFilter : public testing::Test {
 protected:
  OwnKeyFilter() {
    window_.synchronizeItem().OnPress([this] { ++pressed_; });
    window_.Show();
    window_.widget().activateWindow();
    EXPECT_TRUE(SpinUntil([this] { return window_.widget().isActiveWindow(); }));
    Find<QToolButton>(window_.widget(), "Synchronize")->setFocus();
  }

  // Sends the key to the window, as the windowing system does. If given a widget, QTest would send
  // the key directly to the widget.
  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(window_.widget().windowHandle(), key, modifiers);
  }

  int ignored_ = 0;
  int pressed_ = 0;
  FakeOwnKeys keys_;
  platform::qt::QtOwnKeyFilter filter_{keys_, [this] { ++ignored_; }};
  platform::qt::QtMainWindow window_;
};

TEST_F(OwnKeyFilter, IgnoresOnlyRecognizedKeys) {
  Press(Qt::Key_Space);
  EXPECT_EQ(keys_.keys, "+-") << "each event must be looked up once";
  EXPECT_EQ(pressed_, 0);
  EXPECT_GE(ignored_, 2);
  keys_.own = false;
  Press(Qt::Key_Space);
  EXPECT_EQ(pressed_, 1);
}

TEST_F(OwnKeyFilter, OwnKeysDoNotTriggerShortcuts) {
  Press(Qt::Key_F5);
  Press(Qt::Key_R, Qt::ControlModifier);
  EXPECT_EQ(pressed_, 0);
  keys_.own = false;
  Press(Qt::Key_R, Qt::ControlModifier);
  EXPECT_EQ(pressed_, 1);
}

}  // namespace
}  // namespace quillet::window_tests
