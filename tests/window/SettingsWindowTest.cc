#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "output/SampleLine.h"
#include "output/SettingsImage.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtPanels.h"
#include "platform/qt/QtSettingsWindow.h"
#include "platform/qt/QtTicker.h"
#include "program/WindowControls.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/HookedFileStore.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/SystemLine.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"
#include "tests/support/WaitFor.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using test::Immortal;

/// The program with its real windows and files, without ports. As one that has been started: a
/// second one in the same folder is the program started again.
class Started {
 public:
  explicit Started(const std::string& dataFolder)
      : controller(Immortal<SyncController>(
            Platform{log, Immortal<test::FakeClock>(1000.0), test::SystemLine(),
                     Immortal<test::HookedFileStore>(), queue, Immortal<test::FakeRegistry>(),
                     Immortal<test::FakeWorkspace>(), panels, Immortal<platform::qt::QtTicker>(),
                     Immortal<test::FakeKeyEvents>(), Immortal<test::FakePasteboard>(),
                     Immortal<test::FakeApplications>()},
            ControlsOf(main), ControlsOf(settings), dataFolder)) {
    application.setWindow(&main.window());
    application.setSyncController(&controller);
    main.Show();
    application.applicationDidFinishLaunching();
    const auto tried = [this] {
      return log.Has("-[SyncController DisplayConnectionMessage:]") && !controller.bConnecting;
    };
    EXPECT_TRUE(test::WaitFor(tried));
    queue.RunAll();
  }

  test::RecordingLog& log = Immortal<test::RecordingLog>();
  test::FakeMainQueue& queue = Immortal<test::FakeMainQueue>();
  platform::qt::QtMainWindow& main = Immortal<platform::qt::QtMainWindow>();
  platform::qt::QtSettingsWindow& settings =
      Immortal<platform::qt::QtSettingsWindow>(main.widget());
  platform::qt::QtPanels& panels = Immortal<platform::qt::QtPanels>(settings.widget());
  QuilletAppDelegate& application = Immortal<QuilletAppDelegate>(log, queue);
  SyncController& controller;
};

class SettingsWindow : public testing::Test {
 protected:
  SettingsWindow() { Start(); }
  ~SettingsWindow() override { Leave(); }

  void Start() { program_ = &Immortal<Started>(dataFolder_); }

  void Leave() {
    program_->settings.widget().hide();
    program_->main.widget().hide();
  }

  QWidget& window() { return program_->settings.widget(); }

  void Open() {
    program_->main.widget().activateWindow();
    ASSERT_TRUE(SpinUntil([this] { return program_->main.widget().isActiveWindow(); }));
    QTest::keyClick(&program_->main.widget(), Qt::Key_Comma, Qt::ControlModifier);
    ASSERT_TRUE(SpinUntil([this] { return window().isActiveWindow(); }));
  }

  template <class Widget>
  Widget* Find(const QString& name) {
    for (Widget* widget : window().findChildren<Widget*>()) {
      if (widget->accessibleName() == name) return widget;
    }
    ADD_FAILURE() << "no " << name.toStdString();
    return nullptr;
  }

  QPushButton* Button(const QString& text) {
    for (QPushButton* button : window().findChildren<QPushButton*>()) {
      if (button->text().remove('&') == text) return button;
    }
    ADD_FAILURE() << "no button " << text.toStdString();
    return nullptr;
  }

  QLabel* Caption(const QString& text) {
    for (QLabel* label : window().findChildren<QLabel*>()) {
      if (label->text() == text) return label;
    }
    ADD_FAILURE() << "no caption " << text.toStdString();
    return nullptr;
  }

  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  /// Brings the keyboard to a widget with the Tab key alone.
  void TabTo(QWidget* widget) {
    for (int presses = 0; presses < 40 && QApplication::focusWidget() != widget; ++presses) {
      Press(Qt::Key_Tab);
    }
    EXPECT_EQ(QApplication::focusWidget(), widget);
  }

  std::string Registry() const {
    return test::FileContents(dataFolder_ + "/QuilletRegistry.txt").value_or("");
  }

  test::TemporaryFolder folder_;
  const std::string dataFolder_ = folder_ / "QuilletData";
  Started* program_ = nullptr;
};

struct BoxCase {
  const char* name;
  std::size_t position;
};
constexpr BoxCase kBoxes[] = {{"Scanner's serial number", 0},
                              {"Time of the scan", 1},
                              {"Symbology", 2},
                              {"Set the scanner's clock to the computer's time", 5},
                              {"Erase the scanner after synchronizing", 6},
                              {"Fetch all records in one transfer", 8},
                              {"Synchronize automatically", 9},
                              {"Add to the file instead of replacing it", 10},
                              {"Paste instead of typing, for text beyond English", 13}};

struct ListCase {
  const char* name;
  std::size_t position;
  int items;
};
constexpr ListCase kLists[] = {{"Between fields", 3, 5},
                               {"After each record", 4, 5},
                               {"Deliver to", 7, 4},
                               {"Serial number's place", 11, 2},
                               {"Order", 12, 6}};

TEST_F(SettingsWindow, EveryBoxIsSetByMouseAndSavedInItsPlace) {
  for (const auto& [name, position] : kBoxes) {
    std::string expected = Registry();
    ASSERT_EQ(expected.size(), 1023U);
    expected[position] = expected[position] == '1' ? '0' : '1';
    Open();
    auto* box = Find<QCheckBox>(name);
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
    QTest::mouseClick(Button("Save"), Qt::LeftButton);
    EXPECT_FALSE(window().isVisible());
    EXPECT_EQ(Registry(), expected) << name;
  }
}

TEST_F(SettingsWindow, EveryItemIsChosenByMouseAndSavedInItsPlace) {
  for (const auto& [name, position, items] : kLists) {
    auto* list = Find<QComboBox>(name);
    ASSERT_EQ(list->count(), items) << name;
    for (int i = 0; i < items; ++i) {
      std::string expected = Registry();
      expected[position] = static_cast<char>('0' + i);
      Open();
      list->showPopup();
      const QModelIndex item = list->model()->index(i, 0);
      list->view()->scrollTo(item);
      QTest::mouseMove(list->view()->viewport(), list->view()->visualRect(item).center());
      QTest::mousePress(list->view()->viewport(), Qt::LeftButton, {},
                        list->view()->visualRect(item).center());
      // The list takes a release just after it has opened for the end of the click that opened it.
      QTest::qWait(QApplication::doubleClickInterval() + 20);
      QTest::mouseRelease(list->view()->viewport(), Qt::LeftButton, {},
                          list->view()->visualRect(item).center());
      ASSERT_TRUE(SpinUntil([&] { return list->currentIndex() == i; })) << name << i;
      list->hidePopup();
      QTest::mouseClick(Button("Save"), Qt::LeftButton);
      EXPECT_EQ(Registry(), expected) << name << i;
    }
  }
}

TEST_F(SettingsWindow, EverythingIsSetWithTheKeyboardAloneSavedAndShownAfterANewStart) {
  std::string expected = Registry();
  Open();
  std::map<std::string, bool> boxes;
  std::map<std::string, int> lists;
  for (const auto& [name, position] : kBoxes) {
    TabTo(Find<QCheckBox>(name));
    Press(Qt::Key_Space);
    expected[position] = expected[position] == '1' ? '0' : '1';
    boxes[name] = expected[position] == '1';
  }
  for (const auto& [name, position, items] : kLists) {
    TabTo(Find<QComboBox>(name));
    Press(Qt::Key_Home);
    Press(Qt::Key_Down);
    expected[position] = '1';
    lists[name] = 1;
  }
  Press(Qt::Key_Return);
  EXPECT_FALSE(window().isVisible());
  EXPECT_EQ(Registry(), expected);

  Leave();
  Start();
  Open();
  for (const auto& [name, on] : boxes) EXPECT_EQ(Find<QCheckBox>(name.c_str())->isChecked(), on);
  for (const auto& [name, index] : lists) {
    EXPECT_EQ(Find<QComboBox>(name.c_str())->currentIndex(), index) << name;
  }
}

TEST_F(SettingsWindow, EveryBoxAndButtonWorksByAssistiveTechnology) {
  std::string expected = Registry();
  Open();
  const auto interface = [](QWidget* widget) {
    return QAccessible::queryAccessibleInterface(widget)->actionInterface();
  };
  for (const auto& [name, position] : kBoxes) {
    interface(Find<QCheckBox>(name))->doAction(QAccessibleActionInterface::toggleAction());
    expected[position] = expected[position] == '1' ? '0' : '1';
  }
  interface(Button("Save"))->doAction(QAccessibleActionInterface::pressAction());
  ASSERT_TRUE(SpinUntil([this] { return !window().isVisible(); }));
  EXPECT_EQ(Registry(), expected);
}

TEST_F(SettingsWindow, AssistiveTechnologyCanGiveTheKeyboardToEveryControl) {
  Open();
  for (const auto& [name, position, items] : kLists) {
    auto* list = Find<QComboBox>(name);
    ASSERT_NE(QApplication::focusWidget(), list);
    QAccessibleActionInterface* actions =
        QAccessible::queryAccessibleInterface(list)->actionInterface();
    ASSERT_TRUE(actions->actionNames().contains(QAccessibleActionInterface::setFocusAction()));
    actions->doAction(QAccessibleActionInterface::setFocusAction());
    EXPECT_EQ(QApplication::focusWidget(), list);
  }
}

// A list is known by its name from the first moment on, also when somebody has listened to the
// window while it was made.
TEST_F(SettingsWindow, EveryControlHasANameAndAnExplanation) {
  Open();
  std::set<QString> names;
  int controls = 0;
  for (QWidget* widget : window().findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->focusPolicy() == Qt::NoFocus) continue;
    if (widget->inherits("QScrollArea") || widget->inherits("QScrollBar")) continue;
    QAccessibleInterface* found = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(found, nullptr);
    const QString name = found->text(QAccessible::Name);
    EXPECT_FALSE(name.isEmpty()) << widget->metaObject()->className();
    EXPECT_FALSE(name.contains('&')) << name.toStdString();
    names.insert(name);
    ++controls;
    if (!qobject_cast<QPushButton*>(widget)) {
      EXPECT_FALSE(found->text(QAccessible::Description).isEmpty()) << name.toStdString();
    }
  }
  EXPECT_EQ(controls, 20);
  EXPECT_EQ(names.size(), 20U) << "no two have the same name";
}

TEST_F(SettingsWindow, EveryMnemonicIsTheOnlyOneOfItsLetter) {
  std::set<QString> letters;
  const auto take = [&](const QString& text) {
    const qsizetype mark = text.indexOf('&');
    if (mark < 0) return;
    EXPECT_TRUE(letters.insert(text.mid(mark + 1, 1).toLower()).second) << text.toStdString();
  };
  for (auto* button : window().findChildren<QAbstractButton*>()) take(button->text());
  for (auto* label : window().findChildren<QLabel*>()) take(label->text());
  EXPECT_GE(letters.size(), 15U);
}

TEST_F(SettingsWindow, TabWalksThroughEveryControlInReadingOrderAndBack) {
  Open();
  const std::vector<QWidget*> order = {
      Find<QCheckBox>("Symbology"),
      Find<QCheckBox>("Time of the scan"),
      Find<QCheckBox>("Scanner's serial number"),
      Find<QComboBox>("Order"),
      Find<QComboBox>("Serial number's place"),
      Find<QComboBox>("Between fields"),
      Find<QComboBox>("After each record"),
      Find<QCheckBox>("Set the scanner's clock to the computer's time"),
      Find<QCheckBox>("Synchronize automatically"),
      Find<QCheckBox>("Fetch all records in one transfer"),
      Find<QCheckBox>("Erase the scanner after synchronizing"),
      Find<QComboBox>("Deliver to"),
      Find<QLineEdit>("Path"),
      Button("Browse…"),
      Find<QCheckBox>("Add to the file instead of replacing it"),
      Find<QCheckBox>("Paste instead of typing, for text beyond English"),
      Find<QPlainTextEdit>("Older scanners"),
      Find<QPlainTextEdit>("300 series"),
      Button("Save"),
      Button("Cancel")};
  EXPECT_EQ(QApplication::focusWidget(), order.front());
  for (std::size_t i = 1; i <= order.size(); ++i) {
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), order[i % order.size()]) << i;
  }
  for (std::size_t i = order.size(); i-- > 0;) {
    Press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), order[i]) << i;
  }
}

TEST_F(SettingsWindow, ReturnSavesFromEveryField) {
  for (QWidget* field :
       {static_cast<QWidget*>(Find<QCheckBox>("Symbology")),
        static_cast<QWidget*>(Find<QComboBox>("Order")),
        static_cast<QWidget*>(Find<QLineEdit>("Path")), static_cast<QWidget*>(Button("Browse…")),
        static_cast<QWidget*>(Find<QPlainTextEdit>("300 series"))}) {
    Open();
    program_->log.Clear();
    field->setFocus();
    Press(Qt::Key_Return);
    EXPECT_TRUE(program_->log.Has("-[SyncController saveButton:]"));
    EXPECT_FALSE(window().isVisible());
  }
}

TEST_F(SettingsWindow, EscapeAndTheWindowsOwnButtonCancel) {
  const std::string before = Registry();
  for (const bool escape : {true, false}) {
    Open();
    program_->log.Clear();
    Find<QCheckBox>("Symbology")->click();
    if (escape) {
      Press(Qt::Key_Escape);
    } else {
      window().close();
    }
    EXPECT_EQ(program_->log.Count("-[SyncController cancelButton:]"), 1U);
    EXPECT_FALSE(window().isVisible());
    EXPECT_EQ(Registry(), before);
    Open();
    EXPECT_TRUE(Find<QCheckBox>("Symbology")->isChecked());
    Press(Qt::Key_Escape);
  }
}

TEST_F(SettingsWindow, TheNextOpeningBeginsAtTheFirstControlAgain) {
  Open();
  TabTo(Find<QComboBox>("Deliver to"));
  Press(Qt::Key_Escape);
  Open();
  EXPECT_EQ(QApplication::focusWidget(), Find<QCheckBox>("Symbology"));
}

TEST_F(SettingsWindow, ATypedPathIsNotUsed) {
  const std::string before = Registry();
  Open();
  auto* path = Find<QLineEdit>("Path");
  path->setFocus();
  path->selectAll();
  QTest::keyClicks(path, "/typed.txt");
  EXPECT_EQ(path->text(), "/typed.txt");
  Press(Qt::Key_Return);
  EXPECT_EQ(Registry(), before);
  Open();
  EXPECT_EQ(path->text().toStdString(), dataFolder_ + "/sn_timestamp.txt");
}

TEST_F(SettingsWindow, ADestinationWithoutAPathLocksTheFieldAndTheButton) {
  Open();
  auto* list = Find<QComboBox>("Deliver to");
  list->setFocus();
  Press(Qt::Key_Down);
  EXPECT_TRUE(Find<QLineEdit>("Path")->isReadOnly());
  EXPECT_FALSE(Button("Browse…")->isEnabled());
  EXPECT_FALSE(Caption("Pat&h:")->isEnabled());
  EXPECT_EQ(Find<QLineEdit>("Path")->text(), "");
  Press(Qt::Key_End);
  EXPECT_FALSE(Find<QLineEdit>("Path")->isReadOnly());
  EXPECT_TRUE(Button("Browse…")->isEnabled());
  EXPECT_TRUE(Caption("Pat&h:")->isEnabled());
  EXPECT_EQ(Find<QLineEdit>("Path")->text(), "/Applications/TextEdit");
}

TEST_F(SettingsWindow, TheSampleFollowsTheKeys) {
  Open();
  auto* sample = Find<QPlainTextEdit>("Older scanners");
  EXPECT_EQ(sample->toPlainText().toStdString(),
            "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771⏎");
  TabTo(Find<QComboBox>("Between fields"));
  Press(Qt::Key_Home);
  Press(Qt::Key_Down);
  EXPECT_EQ(sample->toPlainText().toStdString(),
            "EAN␣13→9780306406157→[2026/11/16:14:07:09]→005771⏎");
  EXPECT_TRUE(sample->isReadOnly());
}

TEST_F(SettingsWindow, AStoredValueOutsideItsListSelectsNothingAndSavingKeepsIt) {
  std::string registry = Registry();
  for (const auto& [name, position, items] : kLists) registry[position] = '8';
  Leave();
  test::PutFile(dataFolder_ + "/QuilletRegistry.txt", registry);
  Start();
  Open();
  for (const auto& [name, position, items] : kLists) {
    EXPECT_EQ(Find<QComboBox>(name)->currentIndex(), -1) << name;
  }
  Press(Qt::Key_Return);
  EXPECT_EQ(Registry(), registry);
}

/// Ends the panel that comes up next, as a user does who has looked at it.
void AnswerPanel(const std::function<void(QFileDialog&)>& answer) {
  QTimer::singleShot(0, [answer] {
    auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    ASSERT_NE(panel, nullptr);
    answer(*panel);
  });
}

TEST_F(SettingsWindow, TheSavePanelBeginsInTheDataFolderWithThePlaceholder) {
  Open();
  AnswerPanel([this](QFileDialog& panel) {
    EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptSave);
    EXPECT_EQ(panel.directory().absolutePath().toStdString(), dataFolder_);
    auto* name = panel.findChild<QLineEdit*>("fileNameEdit");
    EXPECT_EQ(name->text(), "sn_timestamp.txt");
    QTest::keyClick(name, Qt::Key_Return);
  });
  QTest::mouseClick(Button("Browse…"), Qt::LeftButton);
  EXPECT_EQ(program_->controller.lumet->filename.Get(), dataFolder_ + "/sn_timestamp.txt");
}

TEST_F(SettingsWindow, AChosenFileIsInEffectAtOnceAndCancelDoesNotTakeItBack) {
  const std::string before = Registry();
  const std::string chosen = folder_ / "stock.txt";
  Open();
  AnswerPanel([&](QFileDialog& panel) {
    auto* name = panel.findChild<QLineEdit*>("fileNameEdit");
    name->setText(QString::fromStdString(chosen));
    QTest::keyClick(name, Qt::Key_Return);
  });
  QTest::mouseClick(Button("Browse…"), Qt::LeftButton);
  EXPECT_EQ(Find<QLineEdit>("Path")->text().toStdString(), chosen);
  QTest::keyClick(&window(), Qt::Key_Escape);
  EXPECT_FALSE(window().isVisible());
  EXPECT_EQ(Registry(), before);
  Open();
  EXPECT_EQ(Find<QLineEdit>("Path")->text().toStdString(), chosen);
  Press(Qt::Key_Return);
  EXPECT_EQ(Registry().substr(kFileNamePosition, chosen.size() + 1), chosen + "\r");
}

TEST_F(SettingsWindow, ACancelledPanelChangesNothing) {
  Open();
  AnswerPanel([](QFileDialog& panel) { QTest::keyClick(&panel, Qt::Key_Escape); });
  QTest::mouseClick(Button("Browse…"), Qt::LeftButton);
  EXPECT_EQ(program_->controller.lumet->filename.Get(), dataFolder_ + "/sn_timestamp.txt");
  EXPECT_TRUE(window().isVisible());
}

TEST_F(SettingsWindow, PanelsWithoutTheirFolderBeginWhereApplicationsOrDocumentsAre) {
  const QTemporaryDir home;
  const QDir folder(home.path());
  ASSERT_TRUE(folder.mkpath("Documents"));
  ASSERT_TRUE(folder.mkpath("share/applications"));
  const test::Variable homes("HOME", home.path().toStdString());
  const test::Variable data("XDG_DATA_DIRS", folder.filePath("share").toStdString());
  for (const bool save : {true, false}) {
    AnswerPanel([save, &folder](QFileDialog& panel) {
      EXPECT_EQ(panel.directory().path().toStdString(),
                folder.filePath(save ? "Documents" : "share/applications").toStdString());
      const QString name = panel.findChild<QLineEdit*>("fileNameEdit")->text();
      // A file that is not there can be proposed for saving, but not for opening.
      EXPECT_EQ(name, save ? "sn_timestamp.txt" : "");
      panel.reject();
    });
    const auto chosen = save ? program_->panels.RunSavePanel("/not/there", "sn_timestamp.txt")
                             : program_->panels.RunOpenPanel("/not/there", "TextEdit.app");
    EXPECT_EQ(chosen, std::nullopt);
  }
}

TEST_F(SettingsWindow, OpeningWhileSynchronizingOpensNothing) {
  program_->controller.bIsUnderSynchronization = true;
  program_->main.widget().activateWindow();
  ASSERT_TRUE(SpinUntil([this] { return program_->main.widget().isActiveWindow(); }));
  QTest::keyClick(&program_->main.widget(), Qt::Key_Comma, Qt::ControlModifier);
  EXPECT_FALSE(window().isVisible());
}

TEST_F(SettingsWindow, EverythingIsInSightOnAnOrdinaryScreen) {
  Open();
  EXPECT_LE(window().sizeHint().width(), 1024 - 16);
  EXPECT_LE(window().sizeHint().height(), 600 - 48);
  window().resize(window().sizeHint());
  SpinUntilIdle();
  auto* area = window().findChild<QScrollArea*>();
  EXPECT_FALSE(area->verticalScrollBar()->isVisible());
  EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
}

TEST_F(SettingsWindow, OnASmallScreenAtDoubleScaleEverythingIsReachedAndTheButtonsStay) {
  Open();
  window().resize(512 - 16, 300 - 48);
  SpinUntilIdle();
  EXPECT_LE(window().width(), 512);
  EXPECT_LE(window().height(), 300 - 30);
  auto* area = window().findChild<QScrollArea*>();
  EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
  EXPECT_LE(window().minimumSizeHint().height(), 300 - 48);
  for (QPushButton* button : {Button("Save"), Button("Cancel")}) {
    EXPECT_TRUE(
        window().rect().contains(QRect(button->mapTo(&window(), QPoint(0, 0)), button->size())));
  }
  for (const char* name : {"Older scanners", "300 series"}) {
    const auto* sample = Find<QPlainTextEdit>(name);
    QTextCursor end(sample->document());
    for (const auto where : {QTextCursor::Start, QTextCursor::End}) {
      end.movePosition(where);
      EXPECT_TRUE(sample->viewport()->rect().contains(sample->cursorRect(end))) << name;
    }
  }
  // Wherever the keyboard goes, its control scrolls into sight.
  for (int i = 0; i < 20; ++i) {
    Press(Qt::Key_Tab);
    SpinUntilIdle();
    const QWidget* at = QApplication::focusWidget();
    if (!area->widget()->isAncestorOf(at)) continue;
    const QPoint centre = at->mapTo(area->viewport(), at->rect().center());
    EXPECT_TRUE(area->viewport()->rect().contains(centre)) << at->accessibleName().toStdString();
  }
}

TEST_F(SettingsWindow, ALargerFontMakesALargerWindow) {
  Open();
  const int before = window().sizeHint().width();
  Press(Qt::Key_Escape);
  const QFont usual = QApplication::font();
  QFont larger = usual;
  larger.setPointSizeF(usual.pointSizeF() * 1.3);
  QApplication::setFont(larger);
  Open();
  EXPECT_GT(window().sizeHint().width(), before);
  Press(Qt::Key_Escape);
  QApplication::setFont(usual);
}

/// Relative luminance and contrast as the Web Content Accessibility Guidelines 2.1 define them.
double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
         0.0722 * linear(colour.blueF());
}

double Contrast(const QColor& one, const QColor& other) {
  const double a = Luminance(one), b = Luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

QPalette DarkPalette() {
  QPalette dark(QColor(58, 64, 69), QColor(42, 46, 50));
  dark.setColor(QPalette::Base, QColor(27, 30, 32));
  return dark;
}

/// The contrast of a control's outline, as it is painted at the control's left, with the window.
double OutlineContrast(QWidget& control, const QColor& ground) {
  const QImage picture = control.grab().toImage();
  double best = 1;
  for (int x = 0; x < control.style()->pixelMetric(QStyle::PM_IndicatorWidth); ++x) {
    best = std::max(best, Contrast(picture.pixelColor(x, picture.height() / 2), ground));
  }
  return best;
}

TEST_F(SettingsWindow, EveryKindOfControlStandsOutInLightAndDark) {
  const QPalette usual = QApplication::palette();
  for (const QPalette& palette : {usual, DarkPalette(), usual}) {
    QApplication::setPalette(palette);
    Open();
    auto* box = Find<QCheckBox>("Add to the file instead of replacing it");
    ASSERT_FALSE(box->isChecked());
    const QColor ground = palette.color(QPalette::Window);
    for (QWidget* control :
         {static_cast<QWidget*>(box), static_cast<QWidget*>(Find<QComboBox>("Order")),
          static_cast<QWidget*>(Find<QLineEdit>("Path")), static_cast<QWidget*>(Button("Browse…")),
          static_cast<QWidget*>(Find<QPlainTextEdit>("Older scanners"))}) {
      EXPECT_GE(OutlineContrast(*control, ground), 3)
          << control->metaObject()->className() << " on " << ground.name().toStdString();
    }
    Press(Qt::Key_Escape);
  }
  QApplication::setPalette(usual);
}

TEST_F(SettingsWindow, MarksOfTheSampleHaveAColourOfTheirOwnThatCanBeRead) {
  const QPalette usual = QApplication::palette();
  for (const QPalette& palette : {usual, DarkPalette(), usual}) {
    QApplication::setPalette(palette);
    Open();
    SpinUntilIdle();
    const auto* sample = Find<QPlainTextEdit>("Older scanners");
    const QTextBlock line = sample->document()->firstBlock();
    QString marked;
    for (const QTextLayout::FormatRange& range : line.layout()->formats()) {
      const QColor colour = range.format.foreground().color();
      marked += line.text().mid(range.start, range.length);
      EXPECT_GE(Contrast(colour, palette.color(QPalette::Base)), 4.5);
      EXPECT_NE(colour, palette.color(QPalette::Text));
    }
    EXPECT_EQ(marked.toStdString(), "␣⏎");
    Press(Qt::Key_Escape);
  }
  QApplication::setPalette(usual);
}

TEST_F(SettingsWindow, EveryMarkThatASampleCanHoldHasTheMarksColour) {
  auto* sample = Find<QPlainTextEdit>("Older scanners");
  const QString every = QString::fromStdString(VisibleSpelling("\t \r\n\r.\n"));
  sample->setPlainText(every);
  QString marked;
  for (const auto& range : sample->document()->firstBlock().layout()->formats()) {
    marked += every.mid(range.start, range.length);
  }
  EXPECT_EQ(marked.toStdString(), QString(every).remove('.').toStdString());
}

TEST_F(SettingsWindow, TheWheelChangesNoListWithoutTheKeyboard) {
  Open();
  auto* list = Find<QComboBox>("Order");
  const int chosen = list->currentIndex();
  const auto turn = [list] {
    const QPointF at = list->rect().center();
    QWheelEvent event(at, list->mapToGlobal(at), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(list, &event);
  };
  turn();
  EXPECT_EQ(list->currentIndex(), chosen);
  list->setFocus();
  turn();
  EXPECT_EQ(list->currentIndex(), chosen + 1);
}

TEST_F(SettingsWindow, ProgressIsShownBesideTheViewAndHiddenWhenThereIsNone) {
  auto* bar = program_->main.widget().findChild<QProgressBar*>();
  EXPECT_FALSE(bar->isVisible());
  const int height = program_->main.widget().findChild<QPlainTextEdit*>()->height();
  program_->main.progress().Show("Received 45 of 130 records", 0.25);
  SpinUntilIdle();
  EXPECT_TRUE(bar->isVisible());
  EXPECT_EQ(bar->value() * 4, bar->maximum());
  EXPECT_EQ(program_->main.widget().findChild<QPlainTextEdit*>()->height(), height)
      << "nothing moves";
  program_->main.progress().Show("Asking", -1);
  EXPECT_EQ(bar->maximum(), 0);
  program_->main.progress().Hide();
  EXPECT_FALSE(bar->isVisible());
}

}  // namespace
}  // namespace quillet::window_tests
