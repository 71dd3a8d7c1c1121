#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleInterface>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHelpEvent>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QToolTip>
#include <QWindow>
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "platform/qt/QtMainWindow.h"
#include "tests/window/MainLoop.h"
#include "tests/window/Widgets.h"

namespace quillet::window_tests {
namespace {

constexpr const char* kButtons[] = {"Connect", "Synchronize", "Settings", "Clear"};

class MainWindow : public testing::Test {
 protected:
  MainWindow() {
    platform::ToolbarItem* items[] = {&window_.connectItem(), &window_.synchronizeItem(),
                                      &window_.settingsItem(), &window_.clearItem()};
    for (std::size_t i = 0; i < std::size(items); ++i) {
      items[i]->OnPress([this, i] { ++pressed_[kButtons[i]]; });
    }
    window_.portList().AddItem("None", {});
    window_.portList().AddItem("usbmodem1421", "/dev/ttyACM0");
    Show();
  }

  void Show() {
    window_.Show();
    window_.widget().activateWindow();
    ASSERT_TRUE(SpinUntil([this] { return window_.widget().isActiveWindow(); }));
  }

  QToolButton* Button(const QString& label) { return Find<QToolButton>(window_.widget(), label); }
  /// Shows a message with two buttons, or progress, in the status strip.
  void ShowStatus(bool message) {
    if (!message) return window_.status().Show("Received 45 of 130 records", 0.25, {});
    window_.status().Show(std::string(500, 'x'), std::nullopt,
                          {{"Open file", [this] { ++pressed_["Open file"]; }},
                           {"Show in folder", [this] { ++pressed_["Show in folder"]; }}});
  }
  std::vector<QPushButton*> StripButtons() {
    const auto found = window_.widget().findChildren<QPushButton*>();
    return {found.begin(), found.end()};
  }
  QPlainTextEdit* TextWidget() { return window_.widget().findChild<QPlainTextEdit*>(); }
  QComboBox* PortBox() { return window_.widget().findChild<QComboBox*>(); }

  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  void Append(const char* text) {
    window_.view().Append(text);
    ASSERT_TRUE(SpinUntil([this] { return !window_.view().HasPending(); }));
  }

  /// Finds a control by its accessible role and name.
  QAccessibleInterface* Accessible(QAccessible::Role role, const QString& name) {
    return Accessible(QAccessible::queryAccessibleInterface(&window_.widget()), role, name);
  }
  static QAccessibleInterface* Accessible(QAccessibleInterface* in, QAccessible::Role role,
                                          const QString& name) {
    if (in == nullptr || (in->role() == role && in->text(QAccessible::Name) == name)) return in;
    for (int i = 0; i < in->childCount(); ++i) {
      if (QAccessibleInterface* found = Accessible(in->child(i), role, name)) return found;
    }
    return nullptr;
  }

  using Presses = std::map<std::string, int>;
  Presses pressed_;
  platform::qt::QtMainWindow window_;
};

TEST_F(MainWindow, ButtonsShowLabelsAndIcons) {
  for (const char* label : kButtons) {
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

TEST_F(MainWindow, ButtonsRespondToClicksAndAssistiveTechnology) {
  for (const char* label : kButtons) {
    QTest::mouseClick(Button(label), Qt::LeftButton);
    EXPECT_EQ(std::exchange(pressed_, {}), (Presses{{label, 1}}));
    QAccessibleInterface* button = Accessible(QAccessible::Button, label);
    ASSERT_NE(button, nullptr) << label;
    EXPECT_TRUE(button->state().focusable) << label;
    button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    SpinUntilIdle();
    EXPECT_EQ(std::exchange(pressed_, {}), (Presses{{label, 1}}));
  }
  window_.connectItem().SetLabel("Disconnect");
  EXPECT_NE(Accessible(QAccessible::Button, "Disconnect"), nullptr);
  EXPECT_EQ(Accessible(QAccessible::Button, "Connect"), nullptr);
}

TEST_F(MainWindow, ChangingLabelsOrProgressDoesNotMoveControls) {
  const QRect connect = Button("Connect")->geometry();
  const QRect synchronize = Button("Synchronize")->geometry();
  const QRect text = TextWidget()->geometry();
  window_.connectItem().SetLabel("Disconnect");
  const QSize whole = window_.widget().size();
  for (const bool message : {false, true}) {
    ShowStatus(message);
    SpinUntilIdle();
    EXPECT_EQ(Button("Disconnect")->geometry(), connect);
    EXPECT_EQ(Button("Synchronize")->geometry(), synchronize);
    EXPECT_EQ(TextWidget()->geometry(), text);
    EXPECT_EQ(window_.widget().size(), whole);
  }
}

TEST_F(MainWindow, TabFromTheViewVisitsEveryControl) {
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

TEST_F(MainWindow, ShortcutsWorkRegardlessOfFocus) {
  const struct {
    const char* label;
    Qt::Key key;
    const char* shown;
  } shortcuts[] = {{"Connect", Qt::Key_K, "(Ctrl+K)"},
                   {"Synchronize", Qt::Key_R, "(Ctrl+R, F5)"},
                   {"Settings", Qt::Key_Comma, "(Ctrl+,)"},
                   {"Clear", Qt::Key_L, "(Ctrl+L)"}};
  for (const auto& [label, key, shown] : shortcuts) {
    for (QWidget* from : {static_cast<QWidget*>(TextWidget()), static_cast<QWidget*>(PortBox())}) {
      from->setFocus();
      Press(key, Qt::ControlModifier);
      EXPECT_EQ(std::exchange(pressed_, {}), (Presses{{label, 1}}));
    }
    EXPECT_TRUE(Button(label)->toolTip().endsWith(shown)) << label;
  }
  Press(Qt::Key_F5);
  EXPECT_EQ(pressed_, (Presses{{"Synchronize", 1}}));
}

TEST_F(MainWindow, SelectAllAndCopyWorkRegardlessOfFocus) {
  Append("some\ntext");
  Button("Clear")->setFocus();
  Press(Qt::Key_A, Qt::ControlModifier);
  Press(Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "some\ntext");
}

// The program types records into the active application, which may be the program itself.
TEST_F(MainWindow, TypedRecordsDoNotPressButtons) {
  for (const char c : std::string("4006381333931 CODE 39")) {
    QTest::keyClick(QApplication::focusWidget(), c);
  }
  Press(Qt::Key_Return);
  Press(Qt::Key_Space);
  EXPECT_TRUE(pressed_.empty());
  EXPECT_EQ(window_.portList().SelectedItem(), 0);
  EXPECT_EQ(window_.view().ShownText(), "");
}

TEST_F(MainWindow, TypedNewlinesDoNotPressTheFocusedButton) {
  Button("Synchronize")->setFocus(Qt::TabFocusReason);
  Press(Qt::Key_Space);
  for (int i = 0; i < 10; ++i) Press(Qt::Key_Return);
  EXPECT_EQ(pressed_, (Presses{{"Synchronize", 1}}));
}

TEST_F(MainWindow, ShowsTheCaretOnlyForKeyboardNavigation) {
  Append("first\nsecond\n");
  const auto caret = [this] { return TextWidget()->cursorWidth(); };
  EXPECT_EQ(caret(), 0);
  TextWidget()->setFocus();
  Press(Qt::Key_C);
  EXPECT_EQ(caret(), 0) << "C does not move the caret";
  Press(Qt::Key_Up);
  EXPECT_GT(caret(), 0);
  QTest::mouseClick(TextWidget()->viewport(), Qt::LeftButton);
  EXPECT_EQ(caret(), 0);
  PortBox()->setFocus();
  TextWidget()->setFocus(Qt::TabFocusReason);
  EXPECT_GT(caret(), 0);
}

TEST_F(MainWindow, EmptyViewShowsAPlaceholder) {
  EXPECT_FALSE(TextWidget()->placeholderText().isEmpty());
  EXPECT_EQ(window_.view().ShownText(), "");
}

TEST_F(MainWindow, FitsASmallScreenAtDoubleScale) {
  ShowStatus(true);
  const QSize least = window_.widget().minimumSizeHint();
  EXPECT_LE(least.width(), 512);
  EXPECT_LE(least.height(), 300 - 30);
}

TEST_F(MainWindow, ShowsAllButtonsAtItsSmallestSize) {
  ShowStatus(true);
  window_.widget().resize(1, 1);
  ASSERT_TRUE(SpinUntil([this] {
    return window_.widget().size() == window_.widget().minimumSizeHint() &&
           Button("Clear")->isVisible();
  }));
  std::vector<QWidget*> buttons;
  for (const char* label : kButtons) buttons.push_back(Button(label));
  for (QPushButton* button : StripButtons()) buttons.push_back(button);
  for (QWidget* button : buttons) {
    EXPECT_TRUE(button->isVisible());
    EXPECT_LE(button->mapTo(&window_.widget(), button->rect().topRight()).x(),
              window_.widget().width());
    EXPECT_GE(button->width(), button->minimumSizeHint().width());
  }
  EXPECT_LT(StripButtons()[0]->geometry().right(), StripButtons()[1]->geometry().left());
}

TEST_F(MainWindow, ButtonsInTheStripDoNotMoveItsText) {
  QWidget& label = *window_.widget().findChild<QStatusBar*>()->findChild<QLabel*>();
  const auto middle = [&] {
    QCoreApplication::processEvents();
    return label.mapTo(&window_.widget(), label.rect().center()).y();
  };
  ShowStatus(false);
  const int before = middle();
  ShowStatus(true);
  EXPECT_EQ(middle(), before);
  window_.status().Show("Saved", std::nullopt, {});
  EXPECT_EQ(middle(), before);
}

TEST_F(MainWindow, QuitAndCloseShortcutsCloseTheWindow) {
  for (const Qt::Key key : {Qt::Key_Q, Qt::Key_W}) {
    Show();
    Press(key, Qt::ControlModifier);
    EXPECT_FALSE(window_.widget().isVisible());
  }
}

TEST_F(MainWindow, ClosingEndsTheMainLoopAndIsReportedOnce) {
  int closed = 0;
  window_.window().OnClose([&] { ++closed; });
  QWidget other(&window_.widget(), Qt::Window);
  other.show();
  QTimer::singleShot(0, &window_.widget(), [this] { window_.widget().windowHandle()->close(); });
  QTimer::singleShot(60'000, &window_.widget(), [] { QCoreApplication::exit(1); });
  EXPECT_EQ(QApplication::exec(), 0);
  EXPECT_EQ(closed, 1);
}

TEST_F(MainWindow, MessageButtonsAreKeyboardAccessible) {
  ShowStatus(true);
  const auto buttons = StripButtons();
  ASSERT_EQ(buttons.size(), 2U);
  Button("Clear")->setFocus(Qt::TabFocusReason);
  for (QPushButton* const button : buttons) {
    const std::string title = button->text().remove('&').toStdString();
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), button);
    Press(Qt::Key_Return);
    Press(Qt::Key_Space);
    QTest::keyClick(TextWidget(), button->shortcut()[0].key(), Qt::AltModifier);
    EXPECT_TRUE(SpinUntil([&] { return pressed_[title] == 3; }));
    EXPECT_EQ(std::exchange(pressed_, {}), (Presses{{title, 3}}));
    EXPECT_NE(Accessible(QAccessible::Button, QString::fromStdString(title)), nullptr);
  }
}

TEST_F(MainWindow, StripAndMenuMnemonicsAreUnique) {
  std::map<QKeySequence, int> used;
  for (const char* title : {"&Scanner", "&Edit"}) ++used[QKeySequence::mnemonic(title)];
  ShowStatus(true);
  for (const QPushButton* button : StripButtons()) ++used[button->shortcut()];
  EXPECT_EQ(used.size(), 4U);
  EXPECT_FALSE(used.contains(QKeySequence()));
}

// If a button is replaced while the mouse button is down, the new button must not be pressed.
TEST_F(MainWindow, PressIsIgnoredIfTheStripReplacesTheButton) {
  ShowStatus(true);
  SpinUntilIdle();
  QPushButton* const button = StripButtons().front();
  QTest::mousePress(button, Qt::LeftButton);
  window_.status().Show("", std::nullopt, {{"Restart Quillet", [this] { ++pressed_["Restart"]; }}});
  QTest::mouseRelease(button, Qt::LeftButton);
  EXPECT_TRUE(pressed_.empty());

  button->setFocus(Qt::TabFocusReason);
  window_.status().Show("", std::nullopt, {});
  EXPECT_EQ(QApplication::focusWidget(), TextWidget());
}

TEST_F(MainWindow, TooltipShowsTheFullTextOfACutOffMessage) {
  auto* const label = Accessible(QAccessible::StaticText, QString())->object();
  const auto tip = [&] {
    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QCursor::pos());
    QApplication::sendEvent(label, &event);
    return QToolTip::text();
  };
  window_.status().Show("The disk is full.", std::nullopt, {});
  EXPECT_EQ(tip(), "");
  const std::string longText = std::string(500, 'x') + "<b>";
  window_.status().Show(longText, std::nullopt, {});
  EXPECT_TRUE(tip().contains(QString::fromStdString(longText).toHtmlEscaped()));
}

// macOS moves actions with these roles into the application menu.
TEST_F(MainWindow, SettingsAndQuitHaveMenuRoles) {
  std::map<QAction::MenuRole, QString> byRole;
  for (const QMenu* menu : window_.widget().findChildren<QMenu*>()) {
    for (const QAction* action : menu->actions()) byRole[action->menuRole()] = action->text();
  }
  EXPECT_EQ(byRole[QAction::QuitRole], "&Quit");
  EXPECT_EQ(byRole[QAction::PreferencesRole], "Settings");
}

TEST_F(MainWindow, PortListIsAccessible) {
  QAccessibleInterface* list = Accessible(QAccessible::ComboBox, "Port");
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->childCount(), 1);
  QAccessibleInterface* items = list->child(0);
  ASSERT_NE(items, nullptr);
  EXPECT_EQ(list->indexOfChild(items), 0);
  EXPECT_EQ(items->childCount(), 2);
  EXPECT_EQ(list->text(QAccessible::Value), "None");
  window_.portList().SelectItem(1);
  EXPECT_EQ(list->text(QAccessible::Name), "Port");
  EXPECT_EQ(list->text(QAccessible::Value), "usbmodem1421");
  EXPECT_FALSE(items->child(0)->state().selected);
  EXPECT_TRUE(items->child(1)->state().selected);
  for (const bool closed : {false, true}) {
    list->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_EQ(items->state().invisible, closed);
  }
  window_.portList().RemoveItem(1);
  EXPECT_TRUE(items->child(0)->state().selected);
}

TEST_F(MainWindow, PortListShowsDetailsWithoutChangingTitles) {
  platform::PopUpList& list = window_.portList();
  list.AddItem("usbmodem1421", "/dev/ttyACM1");
  EXPECT_EQ(list.ItemTitle(1), "usbmodem1421");
  EXPECT_EQ(list.ItemTitle(2), "usbmodem1421");
  std::vector<QImage> pictures;
  for (const int item : {1, 2}) {
    list.SelectItem(item);
    SpinUntilIdle();
    pictures.push_back(PortBox()->grab().toImage());
    const QString path = QStringLiteral("/dev/ttyACM%1").arg(item - 1);
    QAccessibleInterface* accessible = Accessible(QAccessible::ComboBox, "Port");
    EXPECT_EQ(accessible->text(QAccessible::Value), "usbmodem1421");
    EXPECT_EQ(accessible->text(QAccessible::Description), path);
    QAccessibleInterface* entry = accessible->child(0)->child(item);
    EXPECT_EQ(entry->text(QAccessible::Name), "usbmodem1421");
    EXPECT_EQ(entry->text(QAccessible::Description), path);
    const QFontMetrics metrics = PortBox()->fontMetrics();
    EXPECT_GE(PortBox()->width(), metrics.horizontalAdvance("usbmodem1421" + path));
    EXPECT_GE(PortBox()->view()->sizeHintForColumn(0),
              metrics.horizontalAdvance("usbmodem1421" + path));
  }
  EXPECT_NE(pictures[0], pictures[1]);
  list.SelectItem(0);
  EXPECT_EQ(Accessible(QAccessible::ComboBox, "Port")->text(QAccessible::Description),
            "Port to connect to");
}

TEST_F(MainWindow, ProgressAndViewAreAccessible) {
  for (const char* progress : {"Received 45 of 130 records", "Received 46 of 130 records"}) {
    window_.status().Show(progress, 0.25, {});
    EXPECT_NE(Accessible(QAccessible::StaticText, progress), nullptr);
  }
  Append("first\nsecond\n");
  QAccessibleInterface* view = Accessible(QAccessible::EditableText, "Messages and records");
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(view->state().readOnly);
  QAccessibleTextInterface* text = view->textInterface();
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->text(0, text->characterCount()), "first\nsecond\n");
}

}  // namespace
}  // namespace quillet::window_tests
