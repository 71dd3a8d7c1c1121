// Tests with the real X11 backends. The program's windows must ignore the keys that the program
// posts, and only those keys.

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "output/KeyTables.h"
#include "platform/linux/X11KeyEvents.h"
#include "platform/linux/X11OwnKeys.h"
#include "platform/posix/PosixClock.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtOwnKeyFilter.h"
#include "platform/qt/QtPanels.h"
#include "platform/qt/X11Connection.h"
#include "tests/platform/XClient.h"
#include "tests/support/RecordingLog.h"
#include "tests/window/MainLoop.h"
#include "tests/window/Widgets.h"

namespace quillet::window_tests {
namespace {

using platform::KeyEvent;
using platform::KeyFlag;
using platform::linux_desktop::X11KeyEvents;

constexpr std::uint16_t kKeyV = 9;

// A record whose letters are mnemonics in menus. Its space and line feed could press buttons.
constexpr char kRecord[] = "CSqlode 4006 a\n\t \n";

void Press(X11KeyEvents& keys, std::uint16_t key, KeyFlag flag) {
  const KeyEvent press[] = {{key, true, flag}, {key, false, KeyFlag::kNone}};
  keys.Post(press);
}

void Type(X11KeyEvents& keys, const std::string& text) {
  for (const char character : text) {
    const KeyValue key = KeyForCharacter(static_cast<unsigned char>(character));
    Press(keys, key & kKeyCodeMask, key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone);
  }
}

class OwnKeys : public testing::Test {
 protected:
  OwnKeys() {
    window_.synchronizeItem().OnPress([this] { ++pressed_; });
    field_.setParent(&window_.widget());
    window_.Show();
    field_.show();
    window_.widget().activateWindow();
    EXPECT_TRUE(SpinUntil([this] { return window_.widget().isActiveWindow(); }));
    EXPECT_EQ(QGuiApplication::platformName(), "xcb");
  }

  QToolButton* SynchronizeButton() { return Find<QToolButton>(window_.widget(), "Synchronize"); }

  /// Types as the program does and waits until its windows have ignored every key event.
  void TypeOwn(const std::string& text) {
    const int before = ignored_;
    Type(own_, text);
    // Each character needs a press and a release. If it needs Shift, there are two more events.
    auto events = 2 * text.size();
    for (const char character : text) {
      events += (KeyForCharacter(static_cast<unsigned char>(character)) & kShiftBit) ? 2 : 0;
    }
    const int expected = before + static_cast<int>(events);
    EXPECT_TRUE(SpinUntil([&] { return ignored_ >= expected; }));
    EXPECT_EQ(ignored_, expected);
  }

  int pressed_ = 0;
  int ignored_ = 0;
  test::RecordingLog log_;
  platform::posix::PosixClock clock_;
  platform::linux_desktop::X11OwnKeys recognizer_{platform::qt::X11Connection()};
  platform::qt::QtOwnKeyFilter filter_{recognizer_, [this] { ++ignored_; }};
  X11KeyEvents own_{log_, clock_, recognizer_.window()};
  X11KeyEvents others_{log_, clock_};  // acts as another program or as the user
  platform::qt::QtMainWindow window_;
  QLineEdit field_;
};

TEST_F(OwnKeys, DoNotPressButtonsOrTriggerShortcuts) {
  SynchronizeButton()->setFocus();
  TypeOwn(kRecord);
  Press(own_, 15, KeyFlag::kCommand);  // Control-R synchronizes
  SpinUntilIdle();
  EXPECT_EQ(pressed_, 0);
  EXPECT_EQ(QApplication::focusWidget(), SynchronizeButton());
  Type(others_, " ");
  Press(others_, 15, KeyFlag::kCommand);
  EXPECT_TRUE(SpinUntil([this] { return pressed_ == 2; }));
}

TEST_F(OwnKeys, AreDistinguishedFromOtherProgramsKeys) {
  constexpr int kKeys = 400;
  field_.setFocus();
  std::thread program([&] { Type(own_, std::string(kKeys, 'x')); });
  std::thread other([&] { Type(others_, std::string(kKeys, 'y')); });
  EXPECT_TRUE(SpinUntil([&] { return ignored_ >= 2 * kKeys && field_.text().size() >= kKeys; }));
  program.join();
  other.join();
  SpinUntilIdle();
  EXPECT_EQ(ignored_, 2 * kKeys);
  EXPECT_EQ(field_.text(), QString(kKeys, 'y'));
}

TEST_F(OwnKeys, AreDistinguishedFromTheUsersKeys) {
  field_.setFocus();
  for (int keys = 1; keys <= 100; ++keys) {
    TypeOwn("x");
    Type(others_, "x");
    ASSERT_TRUE(SpinUntil([&] { return field_.text().size() == keys; }));
  }
}

TEST_F(OwnKeys, AreForgottenIfAnotherWindowReceivesThem) {
  field_.setFocus();
  test::XClient other;
  other.TakeFocus();
  EXPECT_TRUE(SpinUntil([&] { return !window_.widget().isActiveWindow(); }));
  Type(own_, "abcabc\n");
  int received = 0;
  EXPECT_TRUE(SpinUntil([&] {
    while (other.NextKey() != 0) ++received;
    return received == 14;
  }));
  window_.widget().activateWindow();
  EXPECT_TRUE(SpinUntil([&] { return field_.hasFocus(); }));
  Type(others_, "abcabc");
  EXPECT_TRUE(SpinUntil([&] { return field_.text() == "abcabc"; }));
  EXPECT_EQ(ignored_, 0);
}

TEST_F(OwnKeys, AreIgnoredIfFocusChangesInTheMiddleOfARecord) {
  constexpr int kEvents = 200;
  SynchronizeButton()->setFocus();
  test::XClient other;
  other.TakeFocus();
  std::atomic<bool> enough = false;
  std::atomic<int> posted = 0;
  // Types slowly, because the server's queue would grow if a window could not keep up.
  std::thread program([&] {
    for (; !enough; posted += 4) {
      Type(own_, " \n");
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  int received = 0;
  int turn = 0;
  EXPECT_TRUE(SpinUntil([&] {
    if (++turn % 50 == 0) window_.widget().activateWindow();
    if (turn % 50 == 25) other.Focus();
    while (other.NextKey() != 0) ++received;
    return received > kEvents && ignored_ > kEvents;
  }));
  enough = true;
  program.join();
  EXPECT_TRUE(SpinUntil([&] {
    while (other.NextKey() != 0) ++received;
    return received + ignored_ == posted;
  }));
  EXPECT_EQ(pressed_, 0);
}

TEST_F(OwnKeys, AreIgnoredIfDelayedByAKeyboardGrab) {
  field_.setFocus();
  SpinUntilIdle();
  xcb_connection_t* const xcb = xcb_connect(nullptr, nullptr);
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root;
  const auto grab =
      xcb_grab_keyboard(xcb, 1, root, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_SYNC);
  std::free(xcb_grab_keyboard_reply(xcb, grab, nullptr));
  Type(own_, "ab");
  Type(others_, "cd");
  SpinUntilIdle();
  EXPECT_EQ(field_.text(), "");
  xcb_ungrab_keyboard(xcb, XCB_CURRENT_TIME);
  xcb_flush(xcb);
  EXPECT_TRUE(SpinUntil([&] { return field_.text().size() >= 2 && ignored_ >= 4; }));
  EXPECT_EQ(field_.text(), "cd");
  xcb_disconnect(xcb);
}

TEST_F(OwnKeys, DoNotSelectMenuItems) {
  QMenu& menu = *window_.widget().findChild<QMenuBar*>()->actions().at(0)->menu();
  menu.popup(window_.widget().mapToGlobal(QPoint(10, 10)));
  EXPECT_TRUE(SpinUntil([&] { return QApplication::activePopupWidget() == &menu; }));
  TypeOwn(kRecord);
  EXPECT_TRUE(menu.isVisible());
  EXPECT_TRUE(window_.widget().isVisible());
  EXPECT_EQ(menu.activeAction(), nullptr);
  Type(others_, "l");
  EXPECT_TRUE(SpinUntil([&] { return !window_.widget().isVisible(); })) << "Close";
}

TEST_F(OwnKeys, DoNotTypeIntoAFilePanel) {
  QTemporaryDir folder;
  QTimer::singleShot(0, [&] {
    auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    ASSERT_NE(panel, nullptr);
    EXPECT_TRUE(SpinUntil([&] { return panel->isActiveWindow(); }));
    const QString name = panel->findChild<QLineEdit*>("fileNameEdit")->text();
    TypeOwn(kRecord);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->findChild<QLineEdit*>("fileNameEdit")->text(), name);
    Type(others_, "z\n");
  });
  platform::qt::QtPanels panels(window_.widget());
  const std::string path = folder.path().toStdString();
  EXPECT_EQ(panels.RunSavePanel(path, "name.txt", ""), path + "/z");
}

TEST_F(OwnKeys, DoNotPasteIntoQuilletsWindow) {
  field_.setFocus();
  QGuiApplication::clipboard()->setText("record");
  Press(own_, kKeyV, KeyFlag::kCommand);
  EXPECT_TRUE(SpinUntil([this] { return ignored_ == 4; }));
  EXPECT_EQ(field_.text(), "");
  Press(others_, kKeyV, KeyFlag::kCommand);
  EXPECT_TRUE(SpinUntil([this] { return field_.text() == "record"; }));
}

}  // namespace
}  // namespace quillet::window_tests
