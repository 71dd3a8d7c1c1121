#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <QToolTip>
#include <QTreeWidget>
#include <algorithm>
#include <string>
#include <vector>

#include "platform/qt/QtRunsWindow.h"
#include "tests/window/MainLoop.h"
#include "tests/window/Widgets.h"

namespace quillet::window_tests {
namespace {

using platform::RunRow;

constexpr const char* kActions[] = {"Save as…",      "Copy",           "Export as CSV…",
                                    "Deliver again", "Show in folder", "Delete…"};

class QtRunsWindowTest : public testing::Test {
 protected:
  QtRunsWindowTest() {
    const auto report = [this](const char* name) { return [this, name] { reports_ += name; }; };
    window_.SetActions({.search = [this](const std::string& text) { reports_ += text + " "; },
                        .select = report("select "),
                        .activate = report("activate "),
                        .saveAs = report("save "),
                        .copy = report("copy "),
                        .deliver = report("deliver "),
                        .exportCsv = report("export "),
                        .showInFolder = report("folder "),
                        .remove = report("remove ")});
    window_.ShowEmptyText("No synchronizations yet.");
  }

  void Open(const std::vector<RunRow>& rows) {
    window_.ShowRows(rows, rows.empty() ? -1 : 0);
    window_.EnableActions(!rows.empty(), !rows.empty());
    main_.show();
    window_.runsWindow().MakeKeyAndOrderFront();
    ASSERT_TRUE(SpinUntil([this] { return window_.isActiveWindow(); }));
    SpinUntilIdle();
    reports_.clear();
  }
  void OpenWithRows() { Open(kRows); }

  QPushButton* Button(const QString& text) { return Find<QPushButton>(window_, text); }
  QTreeWidget* List() { return window_.findChild<QTreeWidget*>(); }
  QLineEdit* SearchField() { return window_.findChild<QLineEdit*>(); }
  QPlainTextEdit* Preview() { return window_.findChild<QPlainTextEdit*>(); }
  std::string Reports() { return std::exchange(reports_, {}); }

  static void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  /// Calls `act` with the next modal dialog that opens.
  static void InDialog(const std::function<void(QWidget*)>& act) {
    QTimer::singleShot(0, qApp, [act] {
      QWidget* const dialog = QApplication::activeModalWidget();
      if (dialog == nullptr) return InDialog(act);
      act(dialog);
    });
  }

  const std::vector<RunRow> kRows = {
      {"2026-11-17", "005771", "12", "The active application", "Live scans", ""},
      {"2026-11-16 14:07:09", "005771", "130", "/Users/Shared/stock.txt", "Complete", "Yes"}};

  QWidget main_;
  platform::qt::QtRunsWindow window_{main_};
  std::string reports_;
};

TEST_F(QtRunsWindowTest, ReusesTheItemsOfRemainingRows) {
  OpenWithRows();
  const auto items = [this] {
    std::vector<const QTreeWidgetItem*> all;
    for (int i = 0; i < List()->topLevelItemCount(); ++i) all.push_back(List()->topLevelItem(i));
    return all;
  };
  const auto live = items()[0];
  const auto run = items()[1];
  using Items = std::vector<const QTreeWidgetItem*>;
  // Screen readers keep references to the accessible objects of cells.
  const QAccessible::Id cell =
      QAccessible::uniqueId(QAccessible::queryAccessibleInterface(List())->child(6));
  window_.ShowRows(kRows, 0);
  EXPECT_EQ(items(), (Items{live, run}));
  EXPECT_NE(QAccessible::accessibleInterface(cell), nullptr);
  const RunRow added = {"2026-11-18 08:00:00", "005771", "1", "", "In progress", "No"};
  window_.ShowRows({added, kRows[0], kRows[1]}, 1);
  EXPECT_EQ(items(), (Items{items()[0], live, run}));
  EXPECT_EQ(List()->currentItem(), live);
  const QTreeWidgetItem* const first = items()[0];
  RunRow changed = added;
  changed.state = "Complete";
  window_.ShowRows({changed, kRows[1]}, 0);
  EXPECT_EQ(items(), (Items{first, run}));
  EXPECT_EQ(first->text(4), "Complete");
  EXPECT_EQ(window_.SelectedRow(), 0);
  window_.ShowRows({kRows[1]}, 0);
  EXPECT_EQ(items(), Items{run});
}

TEST_F(QtRunsWindowTest, KeepsTheScrollPosition) {
  std::vector<RunRow> rows(90, kRows[1]);
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i].date = std::to_string(900 - i);
  Open(rows);
  const auto top = [this] { return List()->itemAt(0, 0)->text(0).toStdString(); };
  rows.insert(rows.begin(), {"901", "", "", "", "", ""});
  window_.ShowRows(rows, 1);
  SpinUntilIdle();
  EXPECT_EQ(top(), "901") << "the new row is visible";
  List()->scrollToItem(List()->topLevelItem(40), QAbstractItemView::PositionAtTop);
  ASSERT_EQ(top(), "861");
  rows.insert(rows.begin(), {"902", "", "", "", "", ""});
  window_.ShowRows(rows, 2);
  SpinUntilIdle();
  EXPECT_EQ(top(), "861");
  EXPECT_EQ(window_.SelectedRow(), 2);
}

TEST_F(QtRunsWindowTest, ArrowKeysSelectRows) {
  OpenWithRows();
  EXPECT_EQ(QApplication::focusWidget(), List());
  Press(Qt::Key_Down);
  EXPECT_EQ(window_.SelectedRow(), 1);
  EXPECT_EQ(Reports(), "select ");
}

TEST_F(QtRunsWindowTest, ShowsAMessageIfTheListIsEmpty) {
  Open({});
  EXPECT_FALSE(List()->isVisible());
  EXPECT_EQ(QApplication::focusWidget(), SearchField());
  bool shown = false;
  for (const QLabel* label : window_.findChildren<QLabel*>()) {
    shown = shown || (label->isVisible() && label->text() == "No synchronizations yet.");
  }
  EXPECT_TRUE(shown);
  for (const char* name : kActions) EXPECT_FALSE(Button(name)->isEnabled()) << name;
  window_.ShowRows(kRows, 0);
  EXPECT_TRUE(List()->isVisible());
}

TEST_F(QtRunsWindowTest, ListHasFocusUnlessItIsEmpty) {
  main_.show();
  window_.runsWindow().MakeKeyAndOrderFront();
  ASSERT_TRUE(SpinUntil([this] { return window_.isActiveWindow(); }));
  EXPECT_EQ(QApplication::focusWidget(), List()) << "before the first rows";
  window_.ShowRows(kRows, 0);
  EXPECT_EQ(QApplication::focusWidget(), List());
  window_.ShowRows({}, -1);
  EXPECT_EQ(QApplication::focusWidget(), SearchField());
}

TEST_F(QtRunsWindowTest, ShowsABusyCursorAfterADelay) {
  OpenWithRows();
  window_.ShowBusy(true);
  EXPECT_NE(window_.cursor().shape(), Qt::BusyCursor);
  EXPECT_TRUE(SpinUntil([this] { return window_.cursor().shape() == Qt::BusyCursor; }));
  window_.ShowBusy(false);
  EXPECT_NE(window_.cursor().shape(), Qt::BusyCursor);
}

TEST_F(QtRunsWindowTest, ButtonsReportTheirActions) {
  OpenWithRows();
  for (const char* name : kActions) QTest::mouseClick(Button(name), Qt::LeftButton);
  EXPECT_EQ(Reports(), "save copy export deliver folder remove ");
}

TEST_F(QtRunsWindowTest, KeyboardShortcutsWorkInTheList) {
  OpenWithRows();
  Press(Qt::Key_Return);
  Press(Qt::Key_C, Qt::ControlModifier);
  Press(Qt::Key_Delete);
  EXPECT_EQ(Reports(), "save copy remove ");
  window_.EnableActions(true, false);
  Press(Qt::Key_Delete);
  EXPECT_EQ(Reports(), "");
}

TEST_F(QtRunsWindowTest, SearchReportsTextAndReturnKeyFocusesTheList) {
  OpenWithRows();
  Press(Qt::Key_F, Qt::ControlModifier);
  ASSERT_EQ(QApplication::focusWidget(), SearchField());
  SearchField()->setText(QStringLiteral("é"));
  EXPECT_EQ(Reports(), "\xC3\xA9 ");
  SearchField()->clear();
  QTest::keyClicks(SearchField(), "4711");
  Press(Qt::Key_Return);
  EXPECT_EQ(QApplication::focusWidget(), List());
  EXPECT_TRUE(Reports().ends_with("4711 "));
}

TEST_F(QtRunsWindowTest, StopDeliveryWorksWithoutASelectedRow) {
  OpenWithRows();
  window_.ShowDelivering(true);
  window_.ShowRows({}, -1);
  window_.EnableActions(false, false);
  QTest::mouseClick(Button("Stop delivery"), Qt::LeftButton);
  EXPECT_EQ(Reports(), "deliver ");
  window_.ShowDelivering(false);
  EXPECT_FALSE(Button("Deliver again")->isEnabled());
}

TEST_F(QtRunsWindowTest, EscapeAndCloseHideTheWindow) {
  OpenWithRows();
  Press(Qt::Key_Escape);
  EXPECT_FALSE(window_.isVisible());
  OpenWithRows();
  QTest::mouseClick(Button("Close"), Qt::LeftButton);
  EXPECT_FALSE(window_.isVisible());
}

TEST_F(QtRunsWindowTest, ReportsWhenTheWindowReceivesFocus) {
  OpenWithRows();
  main_.activateWindow();
  ASSERT_TRUE(SpinUntil([this] { return main_.isActiveWindow(); }));
  window_.activateWindow();
  EXPECT_TRUE(SpinUntil([this] { return reports_ == "activate "; })) << reports_;
}

TEST_F(QtRunsWindowTest, TabVisitsEveryControl) {
  OpenWithRows();
  std::vector<QWidget*> order = {List(), Preview()};
  for (const char* name : kActions) order.push_back(Button(name));
  order.insert(order.end(), {Button("Close"), SearchField()});
  for (std::size_t i = 1; i <= order.size(); ++i) {
    Press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), order[i % order.size()]) << i;
  }
}

TEST_F(QtRunsWindowTest, MnemonicsAreUnique) {
  for (const bool delivering : {false, true}) {
    window_.ShowDelivering(delivering);
    EXPECT_EQ(UniqueMnemonics(window_).size(), 9U);
  }
}

TEST_F(QtRunsWindowTest, EveryControlHasAnAccessibleName) {
  OpenWithRows();
  for (QWidget* const widget : std::vector<QWidget*>{List(), Preview(), SearchField()}) {
    QAccessibleInterface* found = QAccessible::queryAccessibleInterface(widget);
    EXPECT_FALSE(found->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
  }
  for (const char* name : kActions) {
    EXPECT_FALSE(Button(name)->accessibleDescription().isEmpty()) << name;
  }
}

TEST_F(QtRunsWindowTest, AsksBeforeDeleting) {
  OpenWithRows();
  for (const bool yes : {true, false}) {
    InDialog([yes](QWidget* dialog) {
      auto* box = qobject_cast<QMessageBox*>(dialog);
      ASSERT_NE(box, nullptr);
      EXPECT_EQ(box->text(), "Delete <b>?");
      EXPECT_EQ(box->informativeText(), "Gone.");
      if (!yes) return QTest::keyClick(box, Qt::Key_Escape);
      for (QAbstractButton* button : box->buttons()) {
        if (button->text() == "&Delete") button->click();
      }
    });
    EXPECT_EQ(window_.ConfirmDeletion("Delete <b>?", "Gone."), yes);
  }
  InDialog([](QWidget* dialog) { QTest::keyClick(dialog, Qt::Key_Return); });
  EXPECT_FALSE(window_.ConfirmDeletion("Delete?", "")) << "the default is Cancel";
}

TEST_F(QtRunsWindowTest, ShowsMarkupInFileNamesAsPlainText) {
  const RunRow row{"2026-11-17", "005771", "12", "/home/<b>x</b>", "Complete", "No"};
  Open({row});
  window_.ShowMessage("Saved: /home/<b>x</b>" + std::string(500, 'x'));
  const auto labels = window_.findChildren<QLabel*>();
  const auto message = std::ranges::find_if(
      labels, [](const QLabel* label) { return label->text().startsWith("Saved"); });
  ASSERT_NE(message, labels.end());
  EXPECT_EQ((*message)->textFormat(), Qt::PlainText);
  QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QCursor::pos());
  QApplication::sendEvent(*message, &event);
  for (const QString& tip : {QToolTip::text(), List()->topLevelItem(0)->toolTip(3)}) {
    EXPECT_TRUE(tip.contains("/home/&lt;b&gt;x&lt;/b&gt;")) << tip.toStdString();
  }
}

TEST_F(QtRunsWindowTest, AsksWhetherToExportOneRowPerRecordOrBarcode) {
  OpenWithRows();
  for (const bool perBarcode : {false, true}) {
    InDialog([perBarcode](QWidget* dialog) {
      const auto choices = dialog->findChildren<QRadioButton*>();
      ASSERT_EQ(choices.size(), 2);
      EXPECT_TRUE(choices[0]->isChecked());
      if (perBarcode) choices[1]->setChecked(true);
      if (perBarcode) dialog->findChild<QCheckBox*>()->setChecked(true);
      QTest::keyClick(dialog, Qt::Key_Return);
    });
    EXPECT_EQ(window_.ChooseCsv(), (platform::CsvChoice{perBarcode, perBarcode}));
  }
  InDialog([](QWidget* dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
  EXPECT_EQ(window_.ChooseCsv(), std::nullopt);
}

TEST_F(QtRunsWindowTest, FitsOnASmallScreen) {
  OpenWithRows();
  window_.ShowMessage(std::string(500, 'x'));
  EXPECT_LE(window_.minimumSizeHint().width(), 640);
  EXPECT_LE(window_.minimumSizeHint().height(), 480 - 48);
  EXPECT_GE(window_.minimumSizeHint().width(), 400);
}

}  // namespace
}  // namespace quillet::window_tests
