// A window with the same controls as the program's two, and nothing behind them: what a program
// with such windows costs in this toolkit.

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

namespace {

QComboBox* List(std::initializer_list<const char*> entries) {
  auto* list = new QComboBox;
  for (const char* entry : entries) list->addItem(QString::fromUtf8(entry));
  return list;
}

void AddSettings(QWidget* parent) {
  auto* dialog = new QDialog(parent);
  auto* column = new QVBoxLayout(dialog);
  const auto group = [&](const char* title) {
    auto* box = new QGroupBox(QString::fromUtf8(title));
    column->addWidget(box);
    return new QFormLayout(box);
  };
  QFormLayout* form = group("Line");
  for (const char* name : {"Symbology", "Serial number", "Time"}) {
    form->addRow(new QCheckBox(QString::fromUtf8(name)));
  }
  for (const char* name : {"Order", "Position", "Fields", "Records"}) {
    form->addRow(QString::fromUtf8(name), List({"One", "Two", "Three", "Four", "Five"}));
  }
  form = group("Destination");
  form->addRow(QStringLiteral("To"), List({"File", "View", "Front", "Application"}));
  form->addRow(QStringLiteral("Path"), new QLineEdit);
  form->addRow(new QPushButton(QStringLiteral("Browse")));
  form = group("Scanner");
  for (const char* name : {"Clock", "Erase", "Burst", "Automatic", "Append", "Paste"}) {
    form->addRow(new QCheckBox(QString::fromUtf8(name)));
  }
  form = group("Sample");
  form->addRow(new QPlainTextEdit);
  form->addRow(new QPlainTextEdit);
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
