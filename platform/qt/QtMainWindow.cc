#include "platform/qt/QtMainWindow.h"

#include <QAction>
#include <QComboBox>
#include <QFontMetrics>
#include <QIcon>
#include <QKeySequence>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>
#include <array>

#include "platform/qt/ListBox.h"
#include "platform/qt/NamedListAccessible.h"
#include "platform/qt/Outline.h"
#include "platform/qt/PaletteIcon.h"
#include "platform/qt/QtPopUpList.h"
#include "platform/qt/QtProgressDisplay.h"
#include "platform/qt/QtTextView.h"
#include "platform/qt/QtToolbarItem.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/RecordView.h"
#include "platform/qt/ToolbarButton.h"

// A static library's resources are linked in only where they are asked for, which the macro does
// outside of any namespace.
static void InitializeIcons() {
  Q_INIT_RESOURCE(icons);
}

namespace quillet::platform::qt {
namespace {

constexpr QSize kUsualSize(900, 600);
constexpr int kIconSize = 24;
constexpr int kProgressWidth = 120;
constexpr int kPortCharacters = 16;  // the port list's least width; it shows longer names whole

using Keys = QList<QKeySequence>;

QIcon NamedIcon(const char* name) {
  return PaletteIcon(QStringLiteral(":/quillet/icons/%1.svg").arg(QLatin1String(name)));
}

QAction& MakeAction(QMainWindow& window, const Keys& keys) {
  auto* action = new QAction(&window);
  action->setShortcuts(keys);
  return *action;
}

QWidget* MakeStretch() {
  auto* stretch = new QWidget;
  stretch->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  return stretch;
}

}  // namespace

struct QtMainWindow::Parts {
  QMainWindow frame;
  RecordView& record_view = *new RecordView;
  QComboBox& port_box = *new ListBox;
  QLabel& progress_label = *new QLabel;
  QProgressBar& progress_bar = *new QProgressBar;
  QAction& connect_action = MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_K)});
  QAction& synchronize_action =
      MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_R), QKeySequence(Qt::Key_F5)});
  QAction& settings_action = MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_Comma)});
  QAction& clear_action = MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_L)});

  QtTextView view{record_view};
  QtPopUpList port_list{port_box};
  QtToolbarItem connect_item{connect_action,
                             {{QStringLiteral("Connect"), NamedIcon("connect"),
                               QStringLiteral("Connect to the scanner on the chosen port")},
                              {QStringLiteral("Disconnect"), NamedIcon("disconnect"),
                               QStringLiteral("Disconnect from the scanner")}}};
  QtToolbarItem synchronize_item{synchronize_action,
                                 {{QStringLiteral("Synchronize"), NamedIcon("synchronize"),
                                   QStringLiteral("Collect the scanner's records")}}};
  QtToolbarItem settings_item{settings_action,
                              {{QStringLiteral("Settings"), NamedIcon("settings"),
                                QStringLiteral("Choose what is collected and where it goes")}}};
  QtToolbarItem clear_item{clear_action,
                           {{QStringLiteral("Clear"), NamedIcon("clear"),
                             QStringLiteral("Clear the messages and records below")}}};
  QtProgressDisplay progress{progress_label, progress_bar};
  QtWindow window{frame};

  void MakeView();
  QWidget* MakePortPanel();
  QWidget* MakeButton(QAction& action, const QtToolbarItem& item);
  void MakeToolbar();
  void KeepKeysFromButtons();
  void MakeMenus();
  void MakeProgress();
  void ChooseSize();
};

void QtMainWindow::Parts::MakeView() {
  record_view.setFrameShape(QFrame::NoFrame);
  record_view.setAccessibleName(QStringLiteral("Messages and records"));
  record_view.setPlaceholderText(QStringLiteral("Messages and records appear here."));
  frame.setCentralWidget(&record_view);
}

/// The list with its caption below it, as the buttons have theirs.
QWidget* QtMainWindow::Parts::MakePortPanel() {
  auto* panel = new QWidget;
  auto* caption = new QLabel(QStringLiteral("Port"));
  caption->setAlignment(Qt::AlignHCenter);
  caption->setBuddy(&port_box);
  port_box.setAccessibleName(QStringLiteral("Port"));
  port_box.setToolTip(QStringLiteral("The port that Connect uses"));
  port_box.setMinimumContentsLength(kPortCharacters);
  port_box.setSizeAdjustPolicy(QComboBox::AdjustToContents);
  Outline(port_box);
  auto* layout = new QVBoxLayout(panel);
  layout->setContentsMargins(4, 2, 4, 4);
  layout->setSpacing(0);
  layout->addWidget(&port_box, 1, Qt::AlignVCenter);
  layout->addWidget(caption);
  return panel;
}

/// A button wide enough for all of its labels, so that nothing moves when the label changes.
QWidget* QtMainWindow::Parts::MakeButton(QAction& action, const QtToolbarItem& item) {
  auto* button = new ToolbarButton(&action);
  button->setIconSize(QSize(kIconSize, kIconSize));
  int widest = 0;
  for (const QString& label : item.Labels()) {
    widest = std::max(widest, button->fontMetrics().horizontalAdvance(label));
  }
  button->setMinimumWidth(widest + 20);
  return button;
}

void QtMainWindow::Parts::MakeToolbar() {
  auto* bar = new QToolBar(QStringLiteral("Toolbar"));
  bar->setMovable(false);
  bar->setFloatable(false);
  bar->setIconSize(QSize(kIconSize, kIconSize));
  frame.setContextMenuPolicy(Qt::NoContextMenu);  // which would offer to hide the toolbar
  bar->addWidget(MakePortPanel());
  bar->addWidget(MakeButton(connect_action, connect_item));
  bar->addWidget(MakeButton(synchronize_action, synchronize_item));
  bar->addWidget(MakeStretch());
  bar->addWidget(MakeButton(settings_action, settings_item));
  bar->addWidget(MakeButton(clear_action, clear_item));
  frame.addToolBar(bar);
  frame.setUnifiedTitleAndToolBarOnMac(true);
}

/// A run may type its records into whatever has the keyboard. Should that be this window, a line
/// end must not press the button that has just been pressed, and so start the next run.
void QtMainWindow::Parts::KeepKeysFromButtons() {
  QObject::connect(&synchronize_action, &QAction::triggered, &record_view,
                   [this] { record_view.setFocus(); });
}

void QtMainWindow::Parts::MakeMenus() {
  settings_action.setMenuRole(QAction::PreferencesRole);
  auto* scanner = frame.menuBar()->addMenu(QStringLiteral("&Scanner"));
  scanner->addAction(&connect_action);
  scanner->addAction(&synchronize_action);
  scanner->addSeparator();
  scanner->addAction(&settings_action);
  scanner->addSeparator();
  scanner->addAction(QStringLiteral("C&lose"), QKeySequence(Qt::CTRL | Qt::Key_W), &frame,
                     &QWidget::close);
  auto* quit = scanner->addAction(QStringLiteral("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q),
                                  &frame, &QWidget::close);
  quit->setMenuRole(QAction::QuitRole);

  auto* edit = frame.menuBar()->addMenu(QStringLiteral("&Edit"));
  auto* copy = edit->addAction(QStringLiteral("&Copy"), &record_view, &RecordView::copy);
  copy->setShortcuts(QKeySequence::Copy);
  copy->setEnabled(false);
  QObject::connect(&record_view, &RecordView::copyAvailable, copy, &QAction::setEnabled);
  auto* select =
      edit->addAction(QStringLiteral("Select &All"), &record_view, &RecordView::selectAll);
  select->setShortcuts(QKeySequence::SelectAll);
  edit->addSeparator();
  edit->addAction(&clear_action);
}

/// The strip below the view. It keeps its height while it is empty, so that nothing moves.
void QtMainWindow::Parts::MakeProgress() {
  progress_label.setContentsMargins(8, 0, 0, 0);
  // A text that is wider than the window is cut, and does not hold the window open.
  progress_label.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  progress_bar.setAccessibleName(QStringLiteral("Progress"));
  progress_bar.setFixedWidth(kProgressWidth);
  Outline(progress_bar);
  QStatusBar& strip = *frame.statusBar();
  strip.setSizeGripEnabled(false);
  strip.setMinimumHeight(
      qMax(progress_bar.sizeHint().height(), progress_label.sizeHint().height()) + 8);
  strip.setContentsMargins(0, 0, 8, 0);
  strip.addWidget(&progress_label, 1);
  strip.addPermanentWidget(&progress_bar);
  progress.Hide();
}

void QtMainWindow::Parts::ChooseSize() {
  frame.resize(kUsualSize.boundedTo(RoomOnScreen(frame)));
}

QtMainWindow::QtMainWindow() : parts_((InitializeIcons(), std::make_unique<Parts>())) {
  NameListsForAssistiveTechnology();
  parts_->frame.setWindowIcon(NamedIcon("quillet"));
  parts_->MakeView();
  parts_->MakeToolbar();
  parts_->KeepKeysFromButtons();
  parts_->MakeMenus();
  parts_->MakeProgress();
  parts_->ChooseSize();
}

QtMainWindow::~QtMainWindow() = default;

void QtMainWindow::Show() {
  // Not on a button: a record that is typed into the wrong window must press nothing.
  parts_->record_view.setFocus();
  parts_->frame.show();
}

QtTextView& QtMainWindow::view() {
  return parts_->view;
}
PopUpList& QtMainWindow::portList() {
  return parts_->port_list;
}
ToolbarItem& QtMainWindow::connectItem() {
  return parts_->connect_item;
}
ToolbarItem& QtMainWindow::synchronizeItem() {
  return parts_->synchronize_item;
}
ToolbarItem& QtMainWindow::settingsItem() {
  return parts_->settings_item;
}
ToolbarItem& QtMainWindow::clearItem() {
  return parts_->clear_item;
}
ProgressDisplay& QtMainWindow::progress() {
  return parts_->progress;
}
Window& QtMainWindow::window() {
  return parts_->window;
}
QWidget& QtMainWindow::widget() {
  return parts_->frame;
}

}  // namespace quillet::platform::qt
