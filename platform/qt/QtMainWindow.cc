#include "platform/qt/QtMainWindow.h"

#include <QAction>
#include <QComboBox>
#include <QLayout>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>

#include "platform/qt/ListBox.h"
#include "platform/qt/Outline.h"
#include "platform/qt/PaletteIcon.h"
#include "platform/qt/ToolbarButton.h"

// Links the resources of this static library. The macro must be used outside of any namespace.
static void InitializeIcons() {
  Q_INIT_RESOURCE(icons);
}

namespace quillet::platform::qt {
namespace {

constexpr QSize kUsualSize(900, 600);
constexpr int kIconSize = 24;
constexpr int kPortCharacters = 16;  // minimum width of the port list in characters

QIcon NamedIcon(const char* name) {
  InitializeIcons();
  return PaletteIcon(QStringLiteral(":/quillet/icons/%1.svg").arg(QLatin1String(name)));
}

ToolbarFace Face(const char* label, const char* icon, const char* explanation) {
  return {QString::fromUtf8(label), NamedIcon(icon), QString::fromUtf8(explanation)};
}

QAction& CreateAction(QMainWindow& window, const QList<QKeySequence>& keys) {
  auto* action = new QAction(&window);
  action->setShortcuts(keys);
  return *action;
}

// The button is wide enough for all labels, so a label change does not move its neighbours.
QWidget* CreateButton(const QtToolbarItem& item) {
  auto* button = new ToolbarButton(&item.action());
  button->setIconSize(QSize(kIconSize, kIconSize));
  int widest = 0;
  for (const QString& label : item.Labels()) {
    widest = std::max(widest, button->fontMetrics().horizontalAdvance(label));
  }
  button->setMinimumWidth(widest + 20);
  return button;
}

// Keeps the window wide enough for all items, if the screen allows it. In a narrower window,
// QToolBar moves items into an extension menu.
class WholeToolbar final : public QToolBar {
 public:
  using QToolBar::QToolBar;
  QSize minimumSizeHint() const override {
    const int gap = layout()->spacing();
    int width = contentsMargins().left() + contentsMargins().right() +
                layout()->contentsMargins().left() + layout()->contentsMargins().right() - gap;
    for (QAction* action : actions()) {
      const QWidget& item = *widgetForAction(action);
      width += gap + std::max(item.minimumWidth(), item.minimumSizeHint().width());
    }
    width = std::min(width, RoomOnScreen(*this).width());
    return QToolBar::minimumSizeHint().expandedTo({width, 0});
  }
};

}  // namespace

QtMainWindow::QtMainWindow()
    : recordView_(*new RecordView),
      portBox_(*new ListBox),
      view_(recordView_),
      portList_(portBox_),
      connectItem_(CreateAction(frame_, {Qt::CTRL | Qt::Key_K}),
                   {Face("Connect", "connect", "Connect to the scanner on the selected port"),
                    Face("Disconnect", "disconnect", "Disconnect from the scanner")}),
      synchronizeItem_(
          CreateAction(frame_, {Qt::CTRL | Qt::Key_R, Qt::Key_F5}),
          {Face("Synchronize", "synchronize", "Download the records from the scanner")}),
      settingsItem_(
          CreateAction(frame_, {Qt::CTRL | Qt::Key_Comma}),
          {Face("Settings", "settings", "Change the format and destination of the records")}),
      clearItem_(CreateAction(frame_, {Qt::CTRL | Qt::Key_L}),
                 {Face("Clear", "clear", "Clear the messages and records from the window")}),
      earlierRunsItem_(CreateAction(frame_, {Qt::CTRL | Qt::Key_E}),
                       {{QStringLiteral("Earlier synchronizations…"), {}, {}}}),
      status_(*frame_.statusBar(), recordView_),
      window_(frame_) {
  frame_.setWindowIcon(NamedIcon("quillet"));
  SetUpView();
  SetUpToolbar();
  SetUpMenus();
  frame_.resize(kUsualSize.boundedTo(RoomOnScreen(frame_)));
}

void QtMainWindow::SetUpView() {
  recordView_.setFrameShape(QFrame::NoFrame);
  recordView_.setAccessibleName(QStringLiteral("Messages and records"));
  recordView_.setPlaceholderText(QStringLiteral("Messages and records appear here."));
  frame_.setCentralWidget(&recordView_);
  // A run may type its records into this window. If the Synchronize button had the focus, a typed
  // line end would press it and start another run.
  QObject::connect(&synchronizeItem_.action(), &QAction::triggered, &recordView_,
                   [this] { recordView_.setFocus(); });
}

QWidget* QtMainWindow::PortPanel() {
  auto* panel = new QWidget;
  auto* caption = new QLabel(QStringLiteral("Port"));
  caption->setAlignment(Qt::AlignHCenter);
  caption->setBuddy(&portBox_);
  portBox_.setAccessibleName(QStringLiteral("Port"));
  portBox_.setToolTip(QStringLiteral("Port to connect to"));
  portBox_.setMinimumContentsLength(kPortCharacters);
  portBox_.setSizeAdjustPolicy(QComboBox::AdjustToContents);
  Outline(portBox_);
  auto* layout = new QVBoxLayout(panel);
  layout->setContentsMargins(4, 2, 4, 4);
  layout->setSpacing(0);
  layout->addWidget(&portBox_, 1, Qt::AlignVCenter);
  layout->addWidget(caption);
  return panel;
}

void QtMainWindow::SetUpToolbar() {
  auto* bar = new WholeToolbar(QStringLiteral("Toolbar"));
  bar->setMovable(false);
  bar->setFloatable(false);
  bar->setIconSize(QSize(kIconSize, kIconSize));
  frame_.setContextMenuPolicy(Qt::NoContextMenu);  // the default menu can hide the toolbar
  auto* stretch = new QWidget;
  stretch->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  bar->addWidget(PortPanel());
  bar->addWidget(CreateButton(connectItem_));
  bar->addWidget(CreateButton(synchronizeItem_));
  bar->addWidget(stretch);
  bar->addWidget(CreateButton(settingsItem_));
  bar->addWidget(CreateButton(clearItem_));
  frame_.addToolBar(bar);
  frame_.setUnifiedTitleAndToolBarOnMac(true);
}

void QtMainWindow::SetUpMenus() {
  settingsItem_.action().setMenuRole(QAction::PreferencesRole);
  auto* scanner = frame_.menuBar()->addMenu(QStringLiteral("&Scanner"));
  scanner->addAction(&connectItem_.action());
  scanner->addAction(&synchronizeItem_.action());
  scanner->addAction(&earlierRunsItem_.action());
  scanner->addSeparator();
  scanner->addAction(&settingsItem_.action());
  scanner->addSeparator();
  scanner->addAction(QStringLiteral("C&lose"), QKeySequence(Qt::CTRL | Qt::Key_W), &frame_,
                     &QWidget::close);
  auto* quit = scanner->addAction(QStringLiteral("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q),
                                  &frame_, &QWidget::close);
  quit->setMenuRole(QAction::QuitRole);

  auto* edit = frame_.menuBar()->addMenu(QStringLiteral("&Edit"));
  auto* copy = edit->addAction(QStringLiteral("&Copy"), &recordView_, &RecordView::copy);
  copy->setShortcuts(QKeySequence::Copy);
  copy->setEnabled(false);
  QObject::connect(&recordView_, &RecordView::copyAvailable, copy, &QAction::setEnabled);
  auto* select =
      edit->addAction(QStringLiteral("Select &All"), &recordView_, &RecordView::selectAll);
  select->setShortcuts(QKeySequence::SelectAll);
  edit->addSeparator();
  edit->addAction(&clearItem_.action());
}

void QtMainWindow::Show() {
  // If a button had the focus, a record typed into this window by mistake would press the button.
  recordView_.setFocus();
  frame_.show();
}

}  // namespace quillet::platform::qt
