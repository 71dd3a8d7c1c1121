#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QWindow>
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "platform/qt/QtMainWindow.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

class MainWindow : public testing::Test {
 protected:
  MainWindow() {
    window_.connectItem().OnPress([this] { ++pressed_["connect"]; });
    window_.synchronizeItem().OnPress([this] { ++pressed_["synchronize"]; });
    window_.settingsItem().OnPress([this] { ++pressed_["settings"]; });
    window_.clearItem().OnPress([this] { ++pressed_["clear"]; });
    window_.portList().AddItem("None");
    window_.portList().AddItem("usbmodem1421");
    window_.Show();
    window_.widget().activateWindow();
    EXPECT_TRUE(SpinUntil([this] { return window_.widget().isActiveWindow(); }));
  }

  QToolButton* Button(const QString& label) {
    for (QToolButton* button : window_.widget().findChildren<QToolButton*>()) {
      if (button->text() == label) return button;
    }
    ADD_FAILURE() << "no button " << label.toStdString();
    return nullptr;
  }

  QPlainTextEdit* TextWidget() { return window_.widget().findChild<QPlainTextEdit*>(); }
  QComboBox* PortBox() { return window_.widget().findChild<QComboBox*>(); }

  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  using Presses = std::map<std::string, int>;
  Presses pressed_;
  platform::qt::QtMainWindow window_;
};

TEST_F(MainWindow, ButtonsPressTheirItems) {
  for (const char* label : {"Connect", "Synchronize", "Settings", "Clear"}) {
    QTest::mouseClick(Button(label), Qt::LeftButton);
  }
  EXPECT_EQ(pressed_, (Presses{{"connect", 1}, {"synchronize", 1}, {"settings", 1}, {"clear", 1}}));
}

TEST_F(MainWindow, LabelsAndIconsAreVisible) {
  for (const char* label : {"Connect", "Synchronize", "Settings", "Clear"}) {
    const QToolButton* button = Button(label);
    EXPECT_TRUE(button->isVisible()) << label;
    EXPECT_FALSE(button->icon().isNull()) << label;
    EXPECT_EQ(button->toolButtonStyle(), Qt::ToolButtonTextUnderIcon) << label;
  }
  const auto captions = window_.widget().findChildren<QLabel*>();
  EXPECT_TRUE(std::any_of(captions.begin(), captions.end(), [](const QLabel* label) {
    return label->text() == "Port" && label->isVisible();
  }));
}

TEST_F(MainWindow, NothingMovesWhenConnectBecomesDisconnect) {
  const QRect connect = Button("Connect")->geometry();
  const QRect synchronize = Button("Synchronize")->geometry();
  window_.connectItem().SetLabel("Disconnect");
  SpinUntilIdle();
  EXPECT_EQ(Button("Disconnect")->geometry(), connect);
  EXPECT_EQ(Button("Synchronize")->geometry(), synchronize);
}

TEST_F(MainWindow, TabReachesEveryControlInOrderFromTheView) {
  EXPECT_EQ(QApplication::focusWidget(), TextWidget());
  const std::vector<QWidget*> expected = {
      PortBox(),          Button("Connect"), Button("Synchronize"),
      Button("Settings"), Button("Clear"),   TextWidget()};
  for (QWidget* next : expected) {
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), next);
  }
  for (auto next = expected.rbegin() + 1; next != expected.rend(); ++next) {
    Press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), *next);
  }
}

TEST_F(MainWindow, WholeTaskIsDoneWithTheKeyboardAlone) {
  std::int32_t selected = 0;
  window_.portList().OnSelection([&](std::int32_t position) { selected = position; });
  Press(Qt::Key_Tab);
  Press(Qt::Key_Down);
  EXPECT_EQ(selected, 1);
  Press(Qt::Key_Tab);
  Press(Qt::Key_Return);
  Press(Qt::Key_Tab);
  Press(Qt::Key_Space);
  EXPECT_EQ(pressed_, (Presses{{"connect", 1}, {"synchronize", 1}}));
}

TEST_F(MainWindow, KeysWorkFromAnywhereAndStandInTheToolTips) {
  const struct {
    const char* label;
    const char* item;
    Qt::Key key;
    const char* shown;
  } keys[] = {{"Connect", "connect", Qt::Key_K, "(Ctrl+K)"},
              {"Synchronize", "synchronize", Qt::Key_R, "(Ctrl+R, F5)"},
              {"Settings", "settings", Qt::Key_Comma, "(Ctrl+,)"},
              {"Clear", "clear", Qt::Key_L, "(Ctrl+L)"}};
  for (const auto& [label, item, key, shown] : keys) {
    for (QWidget* from : {static_cast<QWidget*>(TextWidget()), static_cast<QWidget*>(PortBox())}) {
      pressed_.clear();
      from->setFocus();
      Press(key, Qt::ControlModifier);
      EXPECT_EQ(pressed_, (Presses{{item, 1}})) << label;
    }
    EXPECT_TRUE(Button(label)->toolTip().endsWith(shown)) << label;
  }
  pressed_.clear();
  Press(Qt::Key_F5);
  EXPECT_EQ(pressed_, (Presses{{"synchronize", 1}}));
}

TEST_F(MainWindow, SelectAllAndCopyWorkFromAnywhere) {
  window_.view().Append("some\ntext");
  ASSERT_TRUE(SpinUntil([this] { return !window_.view().HasPending(); }));
  Button("Clear")->setFocus();
  Press(Qt::Key_A, Qt::ControlModifier);
  Press(Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "some\ntext");
}

// Records are typed into whatever application is in front, and that may be this one.
TEST_F(MainWindow, TypingIntoTheWindowAsItOpensPressesNothing) {
  for (const char c : std::string("4006381333931 CODE 39\t")) {
    if (c != '\t') QTest::keyClick(QApplication::focusWidget(), c);
  }
  Press(Qt::Key_Return);
  Press(Qt::Key_Space);
  EXPECT_TRUE(pressed_.empty());
  EXPECT_EQ(window_.portList().SelectedItem(), 0);
  EXPECT_EQ(window_.view().ShownText(), "");
}

TEST_F(MainWindow, CaretShowsOnlyWhileTheKeyboardMovesIt) {
  window_.view().Append("first\nsecond\n");
  ASSERT_TRUE(SpinUntil([this] { return !window_.view().HasPending(); }));
  const auto caret = [this] { return TextWidget()->cursorWidth(); };
  EXPECT_EQ(caret(), 0);
  TextWidget()->setFocus();
  Press(Qt::Key_C);
  EXPECT_EQ(caret(), 0) << "which moves nothing";
  Press(Qt::Key_Up);
  EXPECT_GT(caret(), 0);
  QTest::mouseClick(TextWidget()->viewport(), Qt::LeftButton);
  EXPECT_EQ(caret(), 0);
  PortBox()->setFocus();
  TextWidget()->setFocus(Qt::TabFocusReason);
  EXPECT_GT(caret(), 0);
}

TEST_F(MainWindow, LineEndsTypedIntoTheWindowStartNoSecondRun) {
  Button("Synchronize")->setFocus(Qt::TabFocusReason);
  Press(Qt::Key_Space);
  for (int i = 0; i < 10; ++i) Press(Qt::Key_Return);
  EXPECT_EQ(pressed_, (Presses{{"synchronize", 1}}));
}

TEST_F(MainWindow, EmptyViewSaysWhatItIsFor) {
  EXPECT_FALSE(TextWidget()->placeholderText().isEmpty());
  EXPECT_EQ(window_.view().ShownText(), "");
}

TEST_F(MainWindow, FitsASmallScreenAtDoubleScale) {
  const QSize least = window_.widget().minimumSizeHint();
  EXPECT_LE(least.width(), 512);
  EXPECT_LE(least.height(), 300 - 30);
}

TEST_F(MainWindow, ClosingKeysCloseTheWindow) {
  for (const Qt::Key key : {Qt::Key_Q, Qt::Key_W}) {
    window_.Show();
    window_.widget().activateWindow();
    ASSERT_TRUE(SpinUntil([this] { return window_.widget().isActiveWindow(); }));
    Press(key, Qt::ControlModifier);
    EXPECT_FALSE(window_.widget().isVisible());
  }
}

TEST_F(MainWindow, ClosingIsReportedOnceAndEndsTheMainLoop) {
  int closed = 0;
  window_.window().OnClose([&] { ++closed; });
  QWidget further(&window_.widget(), Qt::Window);
  further.show();
  QTimer::singleShot(0, &window_.widget(), [this] { window_.widget().windowHandle()->close(); });
  QTimer::singleShot(60'000, &window_.widget(), [] { QCoreApplication::exit(1); });
  EXPECT_EQ(QApplication::exec(), 0);
  EXPECT_EQ(closed, 1);
}

TEST_F(MainWindow, SettingsAndQuitHaveTheRolesThatMacsPlaceThemBy) {
  std::map<QAction::MenuRole, QString> byRole;
  for (const QMenu* menu : window_.widget().findChildren<QMenu*>()) {
    for (const QAction* action : menu->actions()) byRole[action->menuRole()] = action->text();
  }
  EXPECT_EQ(byRole[QAction::QuitRole], "&Quit");
  EXPECT_EQ(byRole[QAction::PreferencesRole], "Settings");
}

TEST_F(MainWindow, ProgressIsShownBesideTheViewAndHidden) {
  auto* bar = window_.widget().findChild<QProgressBar*>();
  EXPECT_FALSE(bar->isVisible());
  const int height = TextWidget()->height();
  window_.progress().Show("Received 45 of 130 records", 0.25);
  SpinUntilIdle();
  EXPECT_TRUE(bar->isVisible());
  EXPECT_EQ(bar->value() * 4, bar->maximum());
  EXPECT_EQ(TextWidget()->height(), height) << "nothing moves";
  window_.progress().Show("Asking", -1);
  EXPECT_EQ(bar->maximum(), 0);
  window_.progress().Hide();
  EXPECT_FALSE(bar->isVisible());
}

}  // namespace
}  // namespace quillet::window_tests
