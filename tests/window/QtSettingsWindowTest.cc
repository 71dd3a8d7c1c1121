#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "output/SampleLine.h"
#include "platform/qt/QtSettingsWindow.h"
#include "tests/support/SettingsControls.h"
#include "tests/window/MainLoop.h"
#include "tests/window/Widgets.h"

namespace quillet::window_tests {
namespace {

using platform::SettingsValues;
using test::kSettingsControls;
using test::SettingsControl;

constexpr char kOlderLine[] = "EAN␣13,9780306406157,[2026/11/16:14:07:09],005771⏎";
constexpr char kSeries300Line[] = "EAN-13,9780306406157,[2026/11/16:14:07:09],005771⏎";
constexpr char kPath[] = "/Users/Shared/QuilletData/sn_timestamp.txt";

/// The settings window, open in front of another window, with the default settings.
class QtSettingsWindowTest : public testing::Test {
 protected:
  QtSettingsWindowTest() {
    const auto report = [this](const char* name) { return [this, name] { reports_ += name; }; };
    window_.SetActions({.changed = report("changed "),
                        .destinationChanged = report("destination "),
                        .browse = report("browse "),
                        .save = report("save "),
                        .cancel = report("cancel ")});
    window_.SetPath(kPath);
    window_.ShowSamples(kOlderLine, kSeries300Line);
    Open();
  }

  ~QtSettingsWindowTest() override { QApplication::setFont(font_); }

  void Open() {
    main_.show();
    main_.activateWindow();
    ASSERT_TRUE(SpinUntil([this] { return main_.isActiveWindow(); }));
    window_.settingsWindow().OrderFront();
    window_.Show(kValues);
    window_.settingsWindow().MakeKeyAndOrderFront();
    ASSERT_TRUE(SpinUntil([this] { return window_.isActiveWindow(); }));
  }

  void Close() { window_.settingsWindow().Close(); }

  /// Opens the window with a light palette, a dark one, and the light one again. Calls `check` each
  /// time.
  void OpenInLightAndDark(const std::function<void(const QPalette&)>& check) {
    QPalette dark(QColor(58, 64, 69), QColor(42, 46, 50));
    dark.setColor(QPalette::Base, QColor(27, 30, 32));
    const QPalette usual = QApplication::palette();
    for (const QPalette& palette : {usual, dark, usual}) {
      Close();
      QApplication::setPalette(palette);
      Open();
      SpinUntilIdle();
      check(palette);
    }
  }

  template <class Widget>
  Widget* Find(const QString& name) {
    return window_tests::Find<Widget>(window_, name);
  }

  QWidget* Find(const SettingsControl& control) {
    return control.IsList() ? static_cast<QWidget*>(Find<QComboBox>(control.name))
                            : Find<QCheckBox>(control.name);
  }

  /// Returns a control of each kind.
  std::vector<QWidget*> KindsOfControls() {
    return {Find<QCheckBox>("Add to the file instead of replacing it"), Find<QComboBox>("Order"),
            Find<QLineEdit>("Path"), Find<QPushButton>("Browse…"),
            Find<QPlainTextEdit>("Line from an older scanner")};
  }

  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  /// Opens the window with a multiple of the usual text size.
  void OpenWithTextSize(double multiple) {
    Close();
    QFont font = font_;
    font.setPointSizeF(font_.pointSizeF() * multiple);
    QApplication::setFont(font);
    Open();
  }

  /// Moves the focus to each control and checks that the control is scrolled into view.
  void ExpectFocusScrollsIntoView() {
    const auto* area = window_.findChild<QScrollArea*>();
    for (int i = 0; i < 20; ++i) {
      Press(Qt::Key_Tab);
      SpinUntilIdle();
      const QWidget* at = QApplication::focusWidget();
      if (!area->widget()->isAncestorOf(at)) continue;
      const QPoint centre = at->mapTo(area->viewport(), at->rect().center());
      EXPECT_TRUE(area->viewport()->rect().contains(centre)) << at->accessibleName().toStdString();
    }
  }

  /// Presses Tab until `widget` has focus.
  void TabTo(QWidget* widget) {
    for (int presses = 0; presses < 40 && QApplication::focusWidget() != widget; ++presses) {
      Press(Qt::Key_Tab);
    }
    EXPECT_EQ(QApplication::focusWidget(), widget);
  }

  /// Opens a list and clicks an item.
  void ClickItem(QComboBox* list, std::int32_t item) {
    list->showPopup();
    QWidget* view = list->view()->viewport();
    const QModelIndex index = list->model()->index(item, 0);
    list->view()->scrollTo(index);
    const QPoint at = list->view()->visualRect(index).center();
    QTest::mouseMove(view, at);
    QTest::mousePress(view, Qt::LeftButton, {}, at);
    // A list ignores releases of the mouse button shortly after it opens.
    QTest::qWait(QApplication::doubleClickInterval() + 20);
    QTest::mouseRelease(view, Qt::LeftButton, {}, at);
    EXPECT_TRUE(SpinUntil([&] { return list->currentIndex() == item; })) << item;
    list->hidePopup();
  }

  /// Checks the widgets, Values(), and the changes reported since the last check.
  void Expect(const SettingsValues& values, const std::string& reports) {
    for (const SettingsControl& each : kSettingsControls) {
      EXPECT_EQ(each.Shown(window_.Values()), each.Shown(values)) << each.name;
      EXPECT_EQ(each.IsList() ? Find<QComboBox>(each.name)->currentIndex()
                              : Find<QCheckBox>(each.name)->isChecked(),
                each.Shown(values))
          << each.name;
    }
    EXPECT_EQ(std::exchange(reports_, {}), reports);
  }

  static std::string ReportOf(const SettingsControl& control) {
    return control.name == std::string_view("Deliver to") ? "destination " : "changed ";
  }

  static constexpr SettingsValues kValues = {true, true,  true, 3,     4,     1,     0,
                                             true, false, true, false, false, false, 0};

  const QFont font_ = QApplication::font();
  QWidget main_;
  platform::qt::QtSettingsWindow window_{main_, kChoices};
  std::string reports_;
};

TEST_F(QtSettingsWindowTest, ShowSetsTheControlsInAFixedOrder) {
  std::vector<std::size_t> order;  // byte offsets in the settings file
  SettingsValues values = kValues;
  for (const SettingsControl& each : kSettingsControls) {
    const auto note = [&order, &each] { order.push_back(each.position); };
    if (each.IsList()) {
      QObject::connect(Find<QComboBox>(each.name), &QComboBox::currentIndexChanged, &window_, note);
    } else {
      QObject::connect(Find<QCheckBox>(each.name), &QCheckBox::toggled, &window_, note);
    }
    each.Set(values, (each.Shown(values) + 1) % each.items);
  }
  window_.Show(values);
  EXPECT_EQ(order, (std::vector<std::size_t>{0, 1, 2, 3, 4, 11, 12, 5, 6, 8, 9, 10, 13, 7}));
}

TEST_F(QtSettingsWindowTest, EveryValueCanBeSetWithTheMouse) {
  SettingsValues values = kValues;
  for (const SettingsControl& each : kSettingsControls) {
    for (std::int32_t i = 0; i < (each.IsList() ? each.items : 1); ++i) {
      const std::int32_t value = each.IsList() ? i : 1 - each.Shown(values);
      const bool changes = each.Shown(values) != value;
      each.Set(values, value);
      if (each.IsList()) {
        ClickItem(Find<QComboBox>(each.name), value);
      } else {
        auto* box = Find<QCheckBox>(each.name);
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
      }
      Expect(values, changes ? ReportOf(each) : "");
    }
  }
}

TEST_F(QtSettingsWindowTest, EveryControlCanBeSetWithTheKeyboard) {
  SettingsValues values = kValues;
  for (const SettingsControl& each : kSettingsControls) {
    const std::int32_t before = each.Shown(values);
    TabTo(Find(each));
    Press(each.IsList() ? Qt::Key_Home : Qt::Key_Space);
    if (each.IsList()) Press(Qt::Key_Down);
    each.Set(values, each.IsList() ? 1 : 1 - before);
    Expect(values, ReportOf(each) + (each.IsList() && before != 0 ? ReportOf(each) : ""));
  }
}

TEST_F(QtSettingsWindowTest, AssistiveTechnologyCanOperateEveryControl) {
  const auto act = [](QWidget* widget, const QString& action) {
    QAccessibleActionInterface* actions =
        QAccessible::queryAccessibleInterface(widget)->actionInterface();
    EXPECT_TRUE(actions->actionNames().contains(action));
    actions->doAction(action);
  };
  SettingsValues values = kValues;
  for (const SettingsControl& each : kSettingsControls) {
    if (each.IsList()) {
      ASSERT_NE(QApplication::focusWidget(), Find(each));
      act(Find(each), QAccessibleActionInterface::setFocusAction());
      EXPECT_EQ(QApplication::focusWidget(), Find(each));
    } else {
      act(Find(each), QAccessibleActionInterface::toggleAction());
      each.Set(values, 1 - each.Shown(values));
      Expect(values, "changed ");
    }
  }
  for (const char* name : {"Browse…", "Save", "Cancel"}) {
    act(Find<QPushButton>(name), QAccessibleActionInterface::pressAction());
  }
  EXPECT_TRUE(SpinUntil([this] { return reports_ == "browse save cancel "; })) << reports_;
}

TEST_F(QtSettingsWindowTest, EveryControlHasANameAndADescription) {
  std::set<QString> names;
  std::size_t controls = 0;
  for (QWidget* widget : window_.findChildren<QWidget*>()) {
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
  // The 6 controls without a setting are the path, Browse, two samples, Save and Cancel.
  EXPECT_EQ(controls, std::size(kSettingsControls) + 6);
  EXPECT_EQ(names.size(), controls) << "names must be unique";
}

TEST_F(QtSettingsWindowTest, MnemonicsAreUnique) {
  EXPECT_GE(UniqueMnemonics(window_).size(), 15U);
}

TEST_F(QtSettingsWindowTest, TabVisitsEveryControlInReadingOrder) {
  std::vector<QWidget*> order;
  for (const SettingsControl& each : kSettingsControls) {
    order.push_back(Find(each));
    if (std::string_view(each.name) != "Deliver to") continue;
    order.insert(order.end(), {Find<QLineEdit>("Path"), Find<QPushButton>("Browse…")});
  }
  order.insert(order.end(), {Find<QPlainTextEdit>("Line from an older scanner"),
                             Find<QPlainTextEdit>("Line from a 300 series scanner"),
                             Find<QPushButton>("Save"), Find<QPushButton>("Cancel")});
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

TEST_F(QtSettingsWindowTest, ReturnKeySavesFromEveryKindOfControl) {
  for (QWidget* control : KindsOfControls()) {
    control->setFocus();
    Press(Qt::Key_Return);
    Expect(kValues, "save ");
  }
}

TEST_F(QtSettingsWindowTest, EscapeAndTheCloseButtonCancel) {
  Press(Qt::Key_Escape);
  Expect(kValues, "cancel ");
  window_.close();
  Expect(kValues, "cancel ");
}

TEST_F(QtSettingsWindowTest, OpeningFocusesTheFirstControl) {
  TabTo(Find<QComboBox>("Deliver to"));
  Close();
  EXPECT_FALSE(window_.isVisible());
  Open();
  EXPECT_EQ(QApplication::focusWidget(), Find<QCheckBox>("Symbology"));
}

TEST_F(QtSettingsWindowTest, TypingAPathDoesNotReportAChange) {
  auto* path = Find<QLineEdit>("Path");
  path->setFocus();
  path->selectAll();
  QTest::keyClicks(path, "/typed.txt");
  EXPECT_EQ(path->text(), "/typed.txt");
  Expect(kValues, "");
  window_.SetPath(kPath);
  EXPECT_EQ(path->text(), kPath);
  EXPECT_EQ(path->cursorPosition(), 0) << "the beginning is visible";
}

TEST_F(QtSettingsWindowTest, DisablesThePathFieldWithItsLabelAndButton) {
  for (const bool enabled : {false, true, false}) {
    window_.SetPathEnabled(enabled);
    EXPECT_EQ(Find<QLineEdit>("Path")->isReadOnly(), !enabled);
    EXPECT_EQ(Find<QLineEdit>("Path")->isEnabled(), enabled);
    EXPECT_EQ(Find<QPushButton>("Browse…")->isEnabled(), enabled);
    EXPECT_EQ(Find<QLabel>("Path:")->isEnabled(), enabled);
  }
}

TEST_F(QtSettingsWindowTest, ShowsBothSamplesAsReadOnlyText) {
  for (const auto& [name, line] : {std::pair("Line from an older scanner", kOlderLine),
                                   std::pair("Line from a 300 series scanner", kSeries300Line)}) {
    EXPECT_EQ(Find<QPlainTextEdit>(name)->toPlainText(), line);
    EXPECT_TRUE(Find<QPlainTextEdit>(name)->isReadOnly());
  }
}

TEST_F(QtSettingsWindowTest, FitsASmallScreenWithoutScrolling) {
  EXPECT_LE(window_.sizeHint().width(), 1024 - 16);
  EXPECT_LE(window_.sizeHint().height(), 600 - 48);
  window_.resize(window_.sizeHint());
  SpinUntilIdle();
  auto* area = window_.findChild<QScrollArea*>();
  EXPECT_FALSE(area->verticalScrollBar()->isVisible());
  EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
}

TEST_F(QtSettingsWindowTest, KeepsButtonsVisibleOnASmallScreen) {
  window_.resize(512 - 16, 300 - 48);
  SpinUntilIdle();
  EXPECT_LE(window_.width(), 512);
  EXPECT_LE(window_.height(), 300 - 30);
  auto* area = window_.findChild<QScrollArea*>();
  EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
  EXPECT_LE(window_.minimumSizeHint().height(), 300 - 48);
  for (const char* name : {"Save", "Cancel"}) {
    auto* button = Find<QPushButton>(name);
    EXPECT_TRUE(window_.rect().contains(QRect(button->mapTo(&window_, QPoint()), button->size())));
  }
  for (const char* name : {"Line from an older scanner", "Line from a 300 series scanner"}) {
    const auto* sample = Find<QPlainTextEdit>(name);
    QTextCursor end(sample->document());
    for (const auto where : {QTextCursor::Start, QTextCursor::End}) {
      end.movePosition(where);
      EXPECT_TRUE(sample->viewport()->rect().contains(sample->cursorRect(end))) << name;
    }
  }
  ExpectFocusScrollsIntoView();
}

TEST_F(QtSettingsWindowTest, GrowsWithTheFont) {
  const int before = window_.sizeHint().width();
  OpenWithTextSize(1.3);
  EXPECT_GT(window_.sizeHint().width(), before);
}

TEST_F(QtSettingsWindowTest, ShowsSeveralRowsOnASmallScreenWithLargeText) {
  auto* area = window_.findChild<QScrollArea*>();
  const auto* sample = Find<QPlainTextEdit>("Line from an older scanner");
  for (const double size : {1.0, 2.0, 1.0}) {
    OpenWithTextSize(size);
    window_.resize(1024 - 16, 600 - 48);
    SpinUntilIdle();
    EXPECT_EQ(window_.size(), QSize(1024 - 16, 600 - 48));
    EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
    EXPECT_GE(area->viewport()->height(), 10 * window_.fontMetrics().height());
    EXPECT_EQ(area->isAncestorOf(sample), size == 2.0) << "the samples scroll with the settings";
    EXPECT_TRUE(sample->isVisible());
    ExpectFocusScrollsIntoView();
  }
}

/// Returns the relative luminance (Web Content Accessibility Guidelines 2.1).
double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
         0.0722 * linear(colour.blueF());
}

/// Returns the contrast ratio (Web Content Accessibility Guidelines 2.1).
double Contrast(const QColor& one, const QColor& other) {
  const double a = Luminance(one), b = Luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

/// Returns the highest contrast between a pixel at a control's left edge and the window's
/// background.
double OutlineContrast(QWidget& control, const QColor& ground) {
  const QImage picture = control.grab().toImage();
  double best = 1;
  for (int x = 0; x < control.style()->pixelMetric(QStyle::PM_IndicatorWidth); ++x) {
    best = std::max(best, Contrast(picture.pixelColor(x, picture.height() / 2), ground));
  }
  return best;
}

TEST_F(QtSettingsWindowTest, ControlOutlinesAreVisibleInLightAndDarkThemes) {
  OpenInLightAndDark([this](const QPalette& palette) {
    const QColor ground = palette.color(QPalette::Window);
    for (QWidget* control : KindsOfControls()) {
      EXPECT_GE(OutlineContrast(*control, ground), 3)
          << control->metaObject()->className() << " on " << ground.name().toStdString();
    }
  });
}

TEST_F(QtSettingsWindowTest, SampleSymbolsAreVisibleInLightAndDarkThemes) {
  auto* sample = Find<QPlainTextEdit>("Line from an older scanner");
  const QString every = QString::fromStdString(VisibleSpelling("\t \r\n\r.\n"));
  sample->setPlainText(every);
  OpenInLightAndDark([&](const QPalette& palette) {
    QString marked;
    for (const auto& range : sample->document()->firstBlock().layout()->formats()) {
      const QColor colour = range.format.foreground().color();
      marked += every.mid(range.start, range.length);
      EXPECT_GE(Contrast(colour, palette.color(QPalette::Base)), 4.5);
      EXPECT_NE(colour, palette.color(QPalette::Text));
    }
    EXPECT_EQ(marked, QString(every).remove('.'));
  });
}

TEST_F(QtSettingsWindowTest, MouseWheelChangesOnlyTheFocusedList) {
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

}  // namespace
}  // namespace quillet::window_tests
