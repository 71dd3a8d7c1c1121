// Baseline for start-up time and memory: windows with the same controls as Quillet's two windows.
// The controls do nothing.

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <tuple>

namespace {

QComboBox* List(std::initializer_list<const char*> entries) {
  auto* list = new QComboBox;
  for (const char* entry : entries) list->addItem(QString::fromUtf8(entry));
  return list;
}

void AddSettings(QWidget* parent) {
  auto* dialog = new QDialog(parent);
  auto* column = new QVBoxLayout(dialog);
  for (const auto& [boxes, lists, others] :
       {std::tuple(3, 4, 0), {0, 1, 1}, {6, 0, 0}, {0, 0, 2}}) {
    auto* group = new QGroupBox(QStringLiteral("Group"));
    auto* form = new QFormLayout(group);
    column->addWidget(group);
    for (int i = 0; i < boxes; ++i) form->addRow(new QCheckBox(QStringLiteral("Choice")));
    for (int i = 0; i < lists; ++i) form->addRow("List", List({"One", "Two", "Three", "Four"}));
    if (others == 1) form->addRow("Path", new QLineEdit);
    if (others == 1) form->addRow(new QPushButton(QStringLiteral("Browse")));
    if (others == 2) form->addRow(new QPlainTextEdit);
    if (others == 2) form->addRow(new QPlainTextEdit);
  }
  column->addWidget(new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel));
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QMainWindow window;
  window.setCentralWidget(new QPlainTextEdit);
  auto* bar = window.addToolBar(QStringLiteral("Toolbar"));
  bar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
  bar->addWidget(List({"None"}));
  auto* menu = window.menuBar()->addMenu(QStringLiteral("&Scanner"));
  auto* edit = window.menuBar()->addMenu(QStringLiteral("&Edit"));
  edit->addAction(QStringLiteral("&Copy"));
  edit->addAction(QStringLiteral("Select &All"));
  for (const char* name : {"connect", "synchronize", "settings", "clear"}) {
    const QIcon icon(QStringLiteral(":/quillet/icons/%1.svg").arg(QLatin1String(name)));
    auto* action = new QAction(icon, QString::fromUtf8(name), &window);
    bar->addAction(action);
    menu->addAction(action);
  }
  window.setWindowIcon(QIcon(QStringLiteral(":/quillet/icons/quillet.svg")));
  window.statusBar()->addWidget(new QLabel, 1);
  window.statusBar()->addPermanentWidget(new QProgressBar);
  AddSettings(&window);
  window.resize(900, 600);
  window.show();
  return QApplication::exec();
}
