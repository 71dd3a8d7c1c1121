#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>

#include "platform/qt/QtPanels.h"
#include "tests/support/Variable.h"

namespace quillet::window_tests {
namespace {

class QtPanelsTest : public testing::Test {
 protected:
  using Chosen = std::optional<std::string>;
  using Answer = std::function<void(QFileDialog&, QLineEdit& name)>;

  /// Calls `answer` when the next panel is open. `answer` closes the panel as a user would.
  static void OnOpen(const Answer& answer) {
    QTimer::singleShot(0, [answer] {
      auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      ASSERT_NE(panel, nullptr);
      answer(*panel, *panel->findChild<QLineEdit*>("fileNameEdit"));
    });
  }

  Chosen RunSavePanel(const Answer& answer) {
    OnOpen(answer);
    return panels_.RunSavePanel(path_, "sn_timestamp.txt", path_ + "/omitted.txt");
  }

  const QTemporaryDir temporary_;
  const QDir folder_{temporary_.path()};
  const std::string path_ = temporary_.path().toStdString();
  QWidget window_;
  platform::qt::QtPanels panels_{window_};
};

TEST_F(QtPanelsTest, SavePanelSuggestsFolderAndName) {
  EXPECT_EQ(RunSavePanel([this](QFileDialog& panel, QLineEdit& name) {
              EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptSave);
              EXPECT_EQ(panel.directory().absolutePath().toStdString(), path_);
              EXPECT_EQ(name.text(), "sn_timestamp.txt");
              QTest::keyClick(&name, Qt::Key_Return);
            }),
            path_ + "/sn_timestamp.txt");
}

TEST_F(QtPanelsTest, ExportPanelAsksBeforeReplacingAndAddsExtension) {
  OnOpen([](QFileDialog& panel, QLineEdit& name) {
    EXPECT_EQ(panel.windowTitle(), "Export as CSV");
    EXPECT_FALSE(panel.testOption(QFileDialog::DontConfirmOverwrite));
    EXPECT_EQ(name.text(), "records.csv");
    name.setText("stock");
    QTest::keyClick(&name, Qt::Key_Return);
  });
  EXPECT_EQ(panels_.RunExportPanel("Export as CSV", path_, "records.csv"), path_ + "/stock.csv");
}

TEST_F(QtPanelsTest, ReturnsTheEnteredPathOrNothingAfterEscape) {
  const std::string chosen = path_ + "/stock.txt";
  EXPECT_EQ(RunSavePanel([&](QFileDialog&, QLineEdit& name) {
              name.setText(QString::fromStdString(chosen));
              QTest::keyClick(&name, Qt::Key_Return);
            }),
            chosen);
  EXPECT_EQ(
      RunSavePanel([](QFileDialog& panel, QLineEdit&) { QTest::keyClick(&panel, Qt::Key_Escape); }),
      std::nullopt);
}

TEST_F(QtPanelsTest, SavePanelDoesNotListTheExcludedFile) {
  ASSERT_TRUE(folder_.mkpath("z folder"));
  for (const char* name : {"b.txt", "omitted.txt", "a.txt"}) {
    QFile(folder_.filePath(name)).open(QFile::WriteOnly);
  }
  RunSavePanel([](QFileDialog& panel, QLineEdit&) {
    const QListView& view = *panel.findChild<QListView*>("listView");
    // Waits, because the panel reads and sorts the folder on another thread.
    const QStringList expected{"z folder", "a.txt", "b.txt"};
    QStringList names;
    static_cast<void>(QTest::qWaitFor([&] {
      names.clear();
      for (int row = 0; row < view.model()->rowCount(view.rootIndex()); ++row) {
        names += view.model()->index(row, 0, view.rootIndex()).data().toString();
      }
      return names == expected;
    }));
    EXPECT_EQ(names, expected);
    panel.reject();
  });
}

TEST_F(QtPanelsTest, OpensADefaultFolderIfTheRequestedOneIsMissing) {
  ASSERT_TRUE(folder_.mkpath("Documents"));
  ASSERT_TRUE(folder_.mkpath("share/applications"));
  const test::Variable home("HOME", path_);
  const test::Variable data("XDG_DATA_DIRS", path_ + "/share");
  for (const bool save : {true, false}) {
    OnOpen([&](QFileDialog& panel, QLineEdit& name) {
      EXPECT_EQ(panel.directory().path().toStdString(),
                path_ + (save ? "/Documents" : "/share/applications"));
      // Only a save panel can suggest a name for a new file.
      EXPECT_EQ(name.text(), save ? "sn_timestamp.txt" : "");
      panel.reject();
    });
    EXPECT_EQ(save ? panels_.RunSavePanel("/not/there", "sn_timestamp.txt", "")
                   : panels_.RunOpenPanel("/not/there", "TextEdit.app"),
              std::nullopt);
  }
}

TEST_F(QtPanelsTest, AsksBeforeUsingSettings) {
  const auto ask = [this](const std::function<void(QMessageBox&)>& answer) {
    QTimer::singleShot(0, [answer] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      ASSERT_NE(box, nullptr);
      EXPECT_EQ(box->text(), "Use <b>?");
      EXPECT_EQ(
          box->informativeText().remove(u'\u200B'),
          "With these settings, Quillet will:\n\n• Start /tmp/<i>\n• Erase\n\nQuillet will not do "
          "any of this until you press \"Use these settings\".");
      answer(*box);
    });
    return panels_.ConfirmSettings("Use <b>?", {"Start /tmp/<i>", "Erase"});
  };
  EXPECT_TRUE(ask([](QMessageBox& box) { box.buttons().at(0)->click(); }));
  EXPECT_FALSE(ask([](QMessageBox& box) { box.buttons().at(1)->click(); }));
  EXPECT_FALSE(ask([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }));
  EXPECT_FALSE(ask([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); }));
}

}  // namespace
}  // namespace quillet::window_tests
