#include "platform/qt/QtRunsWindow.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProxyStyle>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QTreeWidget>
#include <chrono>
#include <utility>

#include "platform/qt/CutLabel.h"
#include "platform/qt/Outline.h"
#include "platform/qt/QtTextView.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/RecordView.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

constexpr QSize kUsualSize(960, 540);
constexpr int kCellMargin = 7;             // margin left and right of a cell's text, in pixels
constexpr float kPlaceholderTint = 0.35F;  // share of background colour mixed into the text colour
constexpr auto kBusyDelay = std::chrono::milliseconds(200);
constexpr int kRowPadding = 8;       // added to the height of a row, in pixels
constexpr int kListCharacters = 50;  // minimum width of the list in characters

// The columns of the list, in the order of the members of RunRow.
struct ListColumn {
  const char* title;
  std::string RunRow::*text;
  const char* widest;  // text for the initial width; null: the column fills the remaining width
};
constexpr ListColumn kColumns[] = {
    {"Date", &RunRow::date, "0000-00-00 00:00:00"}, {"Scanner", &RunRow::scanner, "000000"},
    {"Records", &RunRow::records, "00000"},         {"Destination", &RunRow::destination, nullptr},
    {"State", &RunRow::state, "Incomplete"},        {"Erased", &RunRow::erased, "Erased"},
};
constexpr int kDateColumn = 0;
constexpr int kScannerColumn = 1;
constexpr int kRecordsColumn = 2;
constexpr int kDestinationColumn = 3;

// Returns true if an item and a row show the same run, identified by date and scanner.
bool IsSameRun(const QTreeWidgetItem& item, const RunRow& row) {
  return item.text(kDateColumn) == ToQString(row.date) &&
         item.text(kScannerColumn) == ToQString(row.scanner);
}

void SetTexts(QTreeWidgetItem& item, const RunRow& row) {
  for (int i = 0; i < static_cast<int>(std::size(kColumns)); ++i) {
    item.setText(i, ToQString(row.*kColumns[i].text));
  }
  item.setToolTip(kDestinationColumn, ToToolTip(item.text(kDestinationColumn)));
}

// Widens the margins of the cells and the header. With Qt's margins, right-aligned text almost
// touches the text of the next column.
class RoomyCells final : public QProxyStyle {
 public:
  explicit RoomyCells(QObject& owner) { setParent(&owner); }
  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override {
    if (metric == PM_FocusFrameHMargin) return kCellMargin - 1;  // the style adds a pixel
    if (metric == PM_HeaderMargin) return kCellMargin;
    return QProxyStyle::pixelMetric(metric, option, widget);
  }
};

class RoomyRows final : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    return QStyledItemDelegate::sizeHint(option, index) + QSize(0, kRowPadding);
  }
};

// A field in which Return moves the focus to the list instead of pressing the default button.
class SearchField final : public QLineEdit {
 public:
  explicit SearchField(QWidget& list) : list_(list) { ChoosePlaceholderColour(); }

 protected:
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::PaletteChange) ChoosePlaceholderColour();
    QLineEdit::changeEvent(event);
  }
  void keyPressEvent(QKeyEvent* event) override {
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Down) {
      return list_.setFocus(Qt::OtherFocusReason);
    }
    QLineEdit::keyPressEvent(event);
  }

 private:
  // In the dark palettes of some desktops, placeholder text is black.
  void ChoosePlaceholderColour() {
    const QColor colour =
        Mix(palette().color(QPalette::Text), palette().color(QPalette::Base), kPlaceholderTint);
    if (palette().color(QPalette::PlaceholderText) == colour) return;
    QPalette placeholder;
    placeholder.setColor(QPalette::PlaceholderText, colour);
    setPalette(placeholder);
  }

  QWidget& list_;
};

// Returns the distance between the left edge of a check box and its text.
int HintIndent(const QCheckBox& box) {
  return box.style()->pixelMetric(QStyle::PM_IndicatorWidth) +
         box.style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing);
}

}  // namespace

struct QtRunsWindow::Parts {
  explicit Parts(QtRunsWindow& dialog) : window(dialog) {}

  QPushButton& MakeButton(std::function<void()> RunsActions::*action, const char* text,
                          const char* explanation);
  void AddKey(QWidget& widget, const QKeySequence& key, QPushButton& button) const;
  void SetUpList();
  QWidget* MakeSearchRow();
  QWidget* MakeContents();
  QWidget* MakeButtonColumn(QtRunsWindow& dialog);
  void UpdateItems(const std::vector<RunRow>& rows);
  // The delivery can be stopped even if no row is selected.
  void EnableDelivery() { deliver.setEnabled(isRowUsable || isDelivering); }

  QtWindow window;
  RunsActions actions;
  QTreeWidget& list = *new QTreeWidget;
  QLineEdit& search = *new SearchField(list);
  QLabel& empty = *new QLabel;
  QStackedWidget& listOrEmpty = *new QStackedWidget;
  RecordView& previewWidget = *new RecordView;
  QtTextView preview{previewWidget};
  QLabel& message = *new CutLabel;
  QTimer busyTimer;
  bool isRowUsable = false;   // see EnableActions
  bool isDelivering = false;  // see ShowDelivering
  QPushButton& saveAs =
      MakeButton(&RunsActions::saveAs, "&Save as…", "Save the records to a text file");
  QPushButton& copy = MakeButton(&RunsActions::copy, "&Copy", "Copy the records to the clipboard");
  QPushButton& deliver =
      MakeButton(&RunsActions::deliver, "&Deliver again",
                 "Format the records with the current settings and deliver them to the current "
                 "destination. If the destination is a file, a new file is created.");
  QPushButton& exportCsv = MakeButton(&RunsActions::exportCsv, "E&xport as CSV…",
                                      "Save the records as a table for spreadsheet programs");
  QPushButton& showInFolder = MakeButton(&RunsActions::showInFolder, "Show in &folder",
                                         "Show the archive file in the file manager");
  QPushButton& remove =
      MakeButton(&RunsActions::remove, "De&lete…", "Delete the records from the archive");
};

QPushButton& QtRunsWindow::Parts::MakeButton(std::function<void()> RunsActions::*action,
                                             const char* text, const char* explanation) {
  auto* button = new QPushButton(QString::fromUtf8(text));
  Outline(*button);
  button->setToolTip(QString::fromUtf8(explanation));
  button->setAccessibleDescription(button->toolTip());
  button->setAutoDefault(false);  // so that Return presses "Save as"
  QObject::connect(button, &QPushButton::clicked, button, [this, action] {
    if (actions.*action) (actions.*action)();
  });
  return *button;
}

void QtRunsWindow::Parts::AddKey(QWidget& widget, const QKeySequence& key,
                                 QPushButton& button) const {
  auto* shortcut = new QShortcut(key, &widget);
  shortcut->setContext(Qt::WidgetShortcut);
  QObject::connect(shortcut, &QShortcut::activated, &button, [&button] { button.click(); });
}

void QtRunsWindow::Parts::SetUpList() {
  QStringList titles;
  for (const ListColumn& column : kColumns) titles += QString::fromUtf8(column.title);
  list.setHeaderLabels(titles);
  list.setAccessibleName(QStringLiteral("Earlier synchronizations"));
  list.setMinimumWidth(kListCharacters * list.fontMetrics().averageCharWidth());
  list.setRootIsDecorated(false);
  list.setUniformRowHeights(true);
  list.setAlternatingRowColors(true);
  list.setAllColumnsShowFocus(true);
  list.setTextElideMode(Qt::ElideMiddle);
  auto* roomy = new RoomyCells(list);
  list.setStyle(roomy);
  list.header()->setStyle(roomy);
  list.setItemDelegate(new RoomyRows(&list));
  list.headerItem()->setTextAlignment(kRecordsColumn, Qt::AlignRight | Qt::AlignVCenter);
  QHeaderView& header = *list.header();
  header.setStretchLastSection(false);
  header.setSectionsMovable(false);
  for (int i = 0; i < list.columnCount(); ++i) {
    const char* const widest = kColumns[i].widest;
    header.setSectionResizeMode(
        i, widest != nullptr ? QHeaderView::Interactive : QHeaderView::Stretch);
    if (widest == nullptr) continue;
    const QFontMetrics metrics = list.fontMetrics();
    header.resizeSection(
        i, 2 * kCellMargin + 4 +
               qMax(metrics.horizontalAdvance(titles[i]), metrics.horizontalAdvance(widest)));
  }
  QObject::connect(&list, &QTreeWidget::currentItemChanged, &list, [this] {
    if (actions.select) actions.select();
  });
  AddKey(list, QKeySequence::Delete, remove);
  AddKey(list, QKeySequence::Copy, copy);
}

QWidget* QtRunsWindow::Parts::MakeSearchRow() {
  auto* row = new QWidget;
  auto* caption = new QLabel(QStringLiteral("S&earch:"));
  caption->setBuddy(&search);
  Outline(search);
  search.setAccessibleName(QStringLiteral("Search"));
  search.setClearButtonEnabled(true);
  search.setPlaceholderText(QStringLiteral("Search by date, scanner, destination or state"));
  QObject::connect(&search, &QLineEdit::textChanged, &search, [this](const QString& text) {
    if (actions.search) actions.search(text.toStdString());
  });
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(caption);
  layout->addWidget(&search, 1);
  return row;
}

QWidget* QtRunsWindow::Parts::MakeContents() {
  SetUpList();
  empty.setAlignment(Qt::AlignCenter);
  empty.setFrameShape(QFrame::StyledPanel);
  empty.setBackgroundRole(QPalette::Base);
  empty.setForegroundRole(QPalette::Text);
  empty.setAutoFillBackground(true);
  listOrEmpty.addWidget(&list);
  listOrEmpty.addWidget(&empty);

  auto* lower = new QWidget;
  auto* caption = new QLabel(QStringLiteral("&Preview:"));
  caption->setBuddy(&previewWidget);
  previewWidget.setAccessibleName(QStringLiteral("Preview"));
  auto* layout = new QVBoxLayout(lower);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(caption);
  layout->addWidget(&previewWidget, 1);

  auto* splitter = new QSplitter(Qt::Vertical);
  splitter->setChildrenCollapsible(false);
  splitter->addWidget(&listOrEmpty);
  splitter->addWidget(lower);
  splitter->setStretchFactor(0, 3);
  splitter->setStretchFactor(1, 2);
  return splitter;
}

QWidget* QtRunsWindow::Parts::MakeButtonColumn(QtRunsWindow& dialog) {
  auto* close = new QPushButton(QStringLiteral("Cl&ose"));
  Outline(*close);
  close->setAutoDefault(false);
  QObject::connect(close, &QPushButton::clicked, &dialog, &QDialog::reject);
  auto* column = new QWidget;
  auto* layout = new QVBoxLayout(column);
  layout->setContentsMargins(0, 0, 0, 0);
  for (QPushButton* button : {&saveAs, &copy, &exportCsv}) layout->addWidget(button);
  layout->addSpacing(12);
  layout->addWidget(&deliver);
  layout->addSpacing(12);
  for (QPushButton* button : {&showInFolder, &remove}) layout->addWidget(button);
  layout->addStretch(1);
  layout->addWidget(close);
  return column;
}

// Changes only the items that differ. Screen readers lose their place if an item is replaced.
void QtRunsWindow::Parts::UpdateItems(const std::vector<RunRow>& rows) {
  for (int i = 0; i < static_cast<int>(rows.size()); ++i) {
    const RunRow& row = rows[static_cast<std::size_t>(i)];
    int found = i;
    while (found < list.topLevelItemCount() && !IsSameRun(*list.topLevelItem(found), row)) ++found;
    if (found == list.topLevelItemCount()) {
      auto* item = new QTreeWidgetItem;
      item->setTextAlignment(kRecordsColumn, Qt::AlignRight | Qt::AlignVCenter);
      SetTexts(*item, row);
      list.insertTopLevelItem(i, item);
      continue;
    }
    for (; found > i; --found) delete list.topLevelItem(i);
    SetTexts(*list.topLevelItem(i), row);
  }
  while (list.topLevelItemCount() > static_cast<int>(rows.size())) {
    delete list.topLevelItem(static_cast<int>(rows.size()));
  }
}

QtRunsWindow::QtRunsWindow(QWidget& parent)
    : QDialog(&parent), parts_(std::make_unique<Parts>(*this)) {
  auto* left = new QVBoxLayout;
  left->addWidget(parts_->MakeSearchRow());
  left->addWidget(parts_->MakeContents(), 1);
  auto* columns = new QHBoxLayout;
  columns->addLayout(left, 1);
  columns->addWidget(parts_->MakeButtonColumn(*this));
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(columns, 1);
  layout->addWidget(&parts_->message);
  parts_->saveAs.setDefault(true);
  auto* find = new QShortcut(QKeySequence::Find, this);
  connect(find, &QShortcut::activated, &parts_->search, [this] {
    parts_->search.setFocus(Qt::ShortcutFocusReason);
    parts_->search.selectAll();
  });
  parts_->busyTimer.setSingleShot(true);
  parts_->busyTimer.callOnTimeout(this, [this] { setCursor(Qt::BusyCursor); });
  EnableActions(false, false);
  setWindowTitle(QStringLiteral("Earlier synchronizations"));
}

QtRunsWindow::~QtRunsWindow() = default;

void QtRunsWindow::SetActions(RunsActions actions) {
  parts_->actions = std::move(actions);
}

void QtRunsWindow::ShowRows(const std::vector<RunRow>& rows, std::int32_t selected) {
  QTreeWidget& list = parts_->list;
  const QSignalBlocker quiet(list);
  const bool hadFocus = focusWidget() == &list;
  // A list that is scrolled to the top stays there, so that a new first row is visible.
  const bool atTop = list.verticalScrollBar()->value() == 0;
  const QPersistentModelIndex top = atTop ? QModelIndex() : list.indexAt({0, 0});
  parts_->UpdateItems(rows);
  QTreeWidgetItem* const item = list.topLevelItem(selected);
  const bool moves = item != list.currentItem();
  if (moves) list.setCurrentItem(item);
  if (top.isValid()) list.scrollTo(top, QAbstractItemView::PositionAtTop);
  if (moves && item != nullptr) list.scrollToItem(item);
  parts_->listOrEmpty.setCurrentIndex(rows.empty() ? 1 : 0);
  if (hadFocus && rows.empty()) parts_->search.setFocus();
}

std::int32_t QtRunsWindow::SelectedRow() const {
  return parts_->list.indexOfTopLevelItem(parts_->list.currentItem());
}

void QtRunsWindow::ClearSearch() {
  const QSignalBlocker blocker(parts_->search);
  parts_->search.clear();
}

void QtRunsWindow::ShowEmptyText(std::string_view text) {
  parts_->empty.setText(ToQString(text));
}

void QtRunsWindow::EnableActions(bool use, bool remove) {
  for (QPushButton* button :
       {&parts_->saveAs, &parts_->copy, &parts_->exportCsv, &parts_->showInFolder}) {
    button->setEnabled(use);
  }
  parts_->remove.setEnabled(remove);
  parts_->isRowUsable = use;
  parts_->EnableDelivery();
}

void QtRunsWindow::ShowDelivering(bool delivering) {
  parts_->deliver.setText(delivering ? QStringLiteral("Stop &delivery")
                                     : QStringLiteral("&Deliver again"));
  parts_->isDelivering = delivering;
  parts_->EnableDelivery();
}

void QtRunsWindow::ShowBusy(bool busy) {
  if (busy) {
    parts_->busyTimer.start(kBusyDelay);
  } else {
    parts_->busyTimer.stop();
    unsetCursor();
  }
}

void QtRunsWindow::ShowMessage(std::string_view text) {
  parts_->message.setText(ToQString(text));
}

bool QtRunsWindow::ConfirmDeletion(std::string_view question, std::string_view consequence) {
  QMessageBox box(QMessageBox::Warning, QStringLiteral("Delete"), ToQString(question),
                  QMessageBox::NoButton, this);
  box.setTextFormat(Qt::PlainText);
  box.setInformativeText(ToQString(consequence));
  QPushButton* const yes = box.addButton(QStringLiteral("&Delete"), QMessageBox::AcceptRole);
  QPushButton* const no = box.addButton(QStringLiteral("&Cancel"), QMessageBox::RejectRole);
  for (QPushButton* button : {yes, no}) Outline(*button);
  box.setDefaultButton(no);
  box.exec();
  return box.clickedButton() == yes;
}

std::optional<CsvChoice> QtRunsWindow::ChooseCsv() {
  QDialog dialog(this);
  dialog.setWindowTitle(QStringLiteral("Export as CSV"));
  auto* perRecord = new QRadioButton(QStringLiteral("One row per &record"));
  auto* perBarcode = new QRadioButton(QStringLiteral("One row per &barcode, with its quantity"));
  perRecord->setToolTip(QStringLiteral("Symbology, barcode, time, serial number"));
  perBarcode->setToolTip(QStringLiteral("Symbology, barcode, quantity"));
  auto* apostrophes = new QCheckBox(QStringLiteral("Put an &apostrophe before each barcode"));
  apostrophes->setToolTip(
      QStringLiteral("Keeps leading zeros when a spreadsheet program opens the file"));
  for (QAbstractButton* choice :
       std::initializer_list<QAbstractButton*>{perRecord, perBarcode, apostrophes}) {
    Outline(*choice);
    choice->setAccessibleDescription(choice->toolTip());
  }
  perRecord->setChecked(true);
  auto* buttons = new QDialogButtonBox;
  QPushButton* const next =
      buttons->addButton(QStringLiteral("&Export…"), QDialogButtonBox::AcceptRole);
  QPushButton* const cancel =
      buttons->addButton(QStringLiteral("&Cancel"), QDialogButtonBox::RejectRole);
  for (QPushButton* button : {next, cancel}) Outline(*button);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(perRecord);
  layout->addWidget(perBarcode);
  layout->addSpacing(12);
  layout->addWidget(apostrophes);
  auto* reason = new QLabel(apostrophes->toolTip() + u'.');
  reason->setIndent(HintIndent(*apostrophes));
  layout->addWidget(reason);
  layout->addSpacing(12);
  layout->addWidget(buttons);
  next->setDefault(true);  // works only after the button has been added to the dialog
  dialog.setAttribute(Qt::WA_KeyboardFocusChange);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return CsvChoice{.rowPerBarcode = perBarcode->isChecked(),
                   .apostrophes = apostrophes->isChecked()};
}

TextView& QtRunsWindow::preview() {
  return parts_->preview;
}

Window& QtRunsWindow::runsWindow() {
  return parts_->window;
}

void QtRunsWindow::setVisible(bool visible) {
  if (visible && !isVisible()) {
    if (!std::exchange(sized_, true)) resize(kUsualSize.boundedTo(RoomOnScreen(*this)));
    const bool empty = parts_->listOrEmpty.currentIndex() == 1;
    (empty ? static_cast<QWidget&>(parts_->search) : parts_->list).setFocus(Qt::TabFocusReason);
  }
  QDialog::setVisible(visible);
}

bool QtRunsWindow::event(QEvent* event) {
  // Makes the style show the focus before the first key press.
  if (event->type() == QEvent::WindowActivate) {
    setAttribute(Qt::WA_KeyboardFocusChange);
    if (parts_->actions.activate) parts_->actions.activate();
  }
  return QDialog::event(event);
}

}  // namespace quillet::platform::qt
