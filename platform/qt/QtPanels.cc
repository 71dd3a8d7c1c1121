#include "platform/qt/QtPanels.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QMessageBox>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStandardPaths>

#include "platform/qt/Outline.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

using Location = QStandardPaths::StandardLocation;

// Returns `folder` if it exists, otherwise a default folder. If a location has several folders,
// prefers the last one, which all users share.
QString Existing(const std::string& folder, const std::initializer_list<Location>& instead) {
  QString wanted = ToQString(folder);
  if (QFileInfo(wanted).isDir()) return wanted;
  for (const Location location : instead) {
    const QStringList places = QStandardPaths::standardLocations(location);
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
      if (QFileInfo(*place).isDir()) return *place;
    }
  }
  return QDir::homePath();
}

// Hides one file. The source model sorts the files.
class AllFilesBut final : public QSortFilterProxyModel {
 public:
  AllFilesBut(const QString& path, QObject* parent) : QSortFilterProxyModel(parent), path_(path) {}

  void sort(int column, Qt::SortOrder order) override { sourceModel()->sort(column, order); }

 protected:
  bool filterAcceptsRow(int row, const QModelIndex& folder) const override {
    const QModelIndex file = sourceModel()->index(row, 0, folder);
    return file.data(QFileSystemModel::FilePathRole).toString() != path_;
  }

 private:
  const QString path_;
};

// Returns the parent of a panel: the active window, or `usual` if there is none. A panel can be
// opened while `usual`, the settings window, is closed.
QWidget* Parent(QWidget& usual) {
  QWidget* const active = QApplication::activeWindow();
  return active != nullptr ? active : &usual;
}

std::optional<std::string> Run(QFileDialog& panel) {
  if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty()) return std::nullopt;
  return QDir::cleanPath(panel.selectedFiles().constFirst()).toStdString();
}

}  // namespace

std::optional<std::string> QtPanels::RunSavePanel(const std::string& folder,
                                                  const std::string& name,
                                                  const std::string& omitted) {
  QFileDialog panel(&parent_, QStringLiteral("Choose a file for the records"));
  panel.setAcceptMode(QFileDialog::AcceptSave);
  panel.setFileMode(QFileDialog::AnyFile);
  panel.setLabelText(QFileDialog::Accept, QStringLiteral("Choose"));
  // The dialog must not ask about overwriting: the file is written later, and records may be
  // appended.
  panel.setOption(QFileDialog::DontConfirmOverwrite);
  panel.setProxyModel(new AllFilesBut(ToQString(omitted), &panel));
  panel.setDirectory(Existing(folder, {QStandardPaths::DocumentsLocation}));
  panel.selectFile(ToQString(name));
  return Run(panel);
}

std::optional<std::string> QtPanels::RunExportPanel(const std::string& title,
                                                    const std::string& folder,
                                                    const std::string& name) {
  QFileDialog panel(Parent(parent_), ToQString(title));
  panel.setAcceptMode(QFileDialog::AcceptSave);
  panel.setFileMode(QFileDialog::AnyFile);
  panel.setDefaultSuffix(QFileInfo(ToQString(name)).suffix());
  panel.setDirectory(Existing(folder, {QStandardPaths::DocumentsLocation}));
  panel.selectFile(ToQString(name));
  return Run(panel);
}

std::optional<std::string> QtPanels::RunOpenPanel(const std::string& folder,
                                                  const std::string& name) {
  QFileDialog panel(Parent(parent_),
                    QStringLiteral("Choose an application to receive the records"));
  panel.setAcceptMode(QFileDialog::AcceptOpen);
  panel.setFileMode(QFileDialog::ExistingFile);
  panel.setLabelText(QFileDialog::Accept, QStringLiteral("Choose"));
  const QDir start(
      Existing(folder, {QStandardPaths::ApplicationsLocation, QStandardPaths::DocumentsLocation}));
  panel.setDirectory(start);
  if (start.exists(ToQString(name))) panel.selectFile(ToQString(name));
  return Run(panel);
}

bool QtPanels::ConfirmSettings(const std::string& question,
                               const std::vector<std::string>& effects) {
  QString list = QStringLiteral("With these settings, Quillet will:\n");
  for (const std::string& effect : effects) {
    // A label breaks a path only at zero-width spaces.
    list += u'\n' + ToQString("• " + effect).replace(u'/', QStringLiteral("/\u200B"));
  }
  list +=
      QStringLiteral("\n\nQuillet will not do any of this until you press \"Use these settings\".");
  QMessageBox box(QMessageBox::Warning, QStringLiteral("Review settings"), ToQString(question),
                  QMessageBox::NoButton, Parent(parent_));
  box.setTextFormat(Qt::PlainText);
  box.setInformativeText(list);
  QPushButton* const use =
      box.addButton(QStringLiteral("&Use these settings"), QMessageBox::AcceptRole);
  QPushButton* const later = box.addButton(QStringLiteral("&Not now"), QMessageBox::RejectRole);
  for (QPushButton* const button : {use, later}) Outline(*button);
  box.setDefaultButton(later);
  box.exec();
  return box.clickedButton() == use;
}

}  // namespace quillet::platform::qt
