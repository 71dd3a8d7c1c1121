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
  RecordView& recordView = *new RecordView;
  QComboBox& portBox = *new ListBox;
  QLabel& progressLabel = *new QLabel;
  QProgressBar& progressBar = *new QProgressBar;
  QAction& connectAction = MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_K)});
  QAction& synchronizeAction =
      MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_R), QKeySequence(Qt::Key_F5)});
  QAction& settingsAction = MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_Comma)});
  QAction& clearAction = MakeAction(frame, {QKeySequence(Qt::CTRL | Qt::Key_L)});

  QtTextView view{recordView};
  QtPopUpList portList{portBox};
  QtToolbarItem connectItem{connectAction,
                            {{QStringLiteral("Connect"), NamedIcon("connect"),
                              QStringLiteral("Connect to the scanner on the chosen port")},
                             {QStringLiteral("Disconnect"), NamedIcon("disconnect"),
                              QStringLiteral("Disconnect from the scanner")}}};
  QtToolbarItem synchronizeItem{synchronizeAction,
                                {{QStringLiteral("Synchronize"), NamedIcon("synchronize"),
                                  QStringLiteral("Collect the scanner's records")}}};
  QtToolbarItem settingsItem{settingsAction,
                             {{QStringLiteral("Settings"), NamedIcon("settings"),
                               QStringLiteral("Choose what is collected and where it goes")}}};
  QtToolbarItem clearItem{clearAction,
                          {{QStringLiteral("Clear"), NamedIcon("clear"),
                            QStringLiteral("Clear the messages and records below")}}};
  QtProgressDisplay progress{progressLabel, progressBar};
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
  recordView.setFrameShape(QFrame::NoFrame);
  recordView.setAccessibleName(QStringLiteral("Messages and records"));
  recordView.setPlaceholderText(QStringLiteral("Messages and records appear here."));
  frame.setCentralWidget(&recordView);
}

/// The list with its caption below it, as the buttons have theirs.
QWidget* QtMainWindow::Parts::MakePortPanel() {
  auto* panel = new QWidget;
  auto* caption = new QLabel(QStringLiteral("Port"));
  caption->setAlignment(Qt::AlignHCenter);
  caption->setBuddy(&portBox);
  portBox.setAccessibleName(QStringLiteral("Port"));
  portBox.setToolTip(QStringLiteral("The port that Connect uses"));
  portBox.setMinimumContentsLength(kPortCharacters);
  portBox.setSizeAdjustPolicy(QComboBox::AdjustToContents);
  Outline(portBox);
  auto* layout = new QVBoxLayout(panel);
  layout->setContentsMargins(4, 2, 4, 4);
  layout->setSpacing(0);
  layout->addWidget(&portBox, 1, Qt::AlignVCenter);
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
  bar->addWidget(MakeButton(connectAction, connectItem));
  bar->addWidget(MakeButton(synchronizeAction, synchronizeItem));
  bar->addWidget(MakeStretch());
  bar->addWidget(MakeButton(settingsAction, settingsItem));
  bar->addWidget(MakeButton(clearAction, clearItem));
  frame.addToolBar(bar);
  frame.setUnifiedTitleAndToolBarOnMac(true);
}

/// A run may type its records into whatever has the keyboard. Should that be this window, a line
/// end must not press the button that has just been pressed, and so start the next run.
void QtMainWindow::Parts::KeepKeysFromButtons() {
  QObject::connect(&synchronizeAction, &QAction::triggered, &recordView,
                   [this] { recordView.setFocus(); });
}

void QtMainWindow::Parts::MakeMenus() {
  settingsAction.setMenuRole(QAction::PreferencesRole);
  auto* scanner = frame.menuBar()->addMenu(QStringLiteral("&Scanner"));
  scanner->addAction(&connectAction);
  scanner->addAction(&synchronizeAction);
  scanner->addSeparator();
  scanner->addAction(&settingsAction);
  scanner->addSeparator();
  scanner->addAction(QStringLiteral("C&lose"), QKeySequence(Qt::CTRL | Qt::Key_W), &frame,
                     &QWidget::close);
  auto* quit = scanner->addAction(QStringLiteral("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q),
                                  &frame, &QWidget::close);
  quit->setMenuRole(QAction::QuitRole);

  auto* edit = frame.menuBar()->addMenu(QStringLiteral("&Edit"));
  auto* copy = edit->addAction(QStringLiteral("&Copy"), &recordView, &RecordView::copy);
  copy->setShortcuts(QKeySequence::Copy);
  copy->setEnabled(false);
  QObject::connect(&recordView, &RecordView::copyAvailable, copy, &QAction::setEnabled);
  auto* select =
      edit->addAction(QStringLiteral("Select &All"), &recordView, &RecordView::selectAll);
  select->setShortcuts(QKeySequence::SelectAll);
  edit->addSeparator();
  edit->addAction(&clearAction);
}

/// The strip below the view. It keeps its height while it is empty, so that nothing moves.
void QtMainWindow::Parts::MakeProgress() {
  progressLabel.setContentsMargins(8, 0, 0, 0);
  // A text that is wider than the window is cut, and does not hold the window open.
  progressLabel.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  progressBar.setAccessibleName(QStringLiteral("Progress"));
  progressBar.setFixedWidth(kProgressWidth);
  Outline(progressBar);
  QStatusBar& strip = *frame.statusBar();
  strip.setSizeGripEnabled(false);
  strip.setMinimumHeight(qMax(progressBar.sizeHint().height(), progressLabel.sizeHint().height()) +
                         8);
  strip.setContentsMargins(0, 0, 8, 0);
  strip.addWidget(&progressLabel, 1);
  strip.addPermanentWidget(&progressBar);
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
  parts_->recordView.setFocus();
  parts_->frame.show();
}

QtTextView& QtMainWindow::view() {
  return parts_->view;
}
PopUpList& QtMainWindow::portList() {
  return parts_->portList;
}
ToolbarItem& QtMainWindow::connectItem() {
  return parts_->connectItem;
}
ToolbarItem& QtMainWindow::synchronizeItem() {
  return parts_->synchronizeItem;
}
ToolbarItem& QtMainWindow::settingsItem() {
  return parts_->settingsItem;
}
ToolbarItem& QtMainWindow::clearItem() {
  return parts_->clearItem;
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
