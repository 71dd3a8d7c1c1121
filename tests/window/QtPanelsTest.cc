#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
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

  /// Ends the panel that opens next as a user does.
  static void Answer(const std::function<void(QFileDialog&, QLineEdit& name)>& answer) {
    QTimer::singleShot(0, [answer] {
      auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      ASSERT_NE(panel, nullptr);
      answer(*panel, *panel->findChild<QLineEdit*>("fileNameEdit"));
    });
  }

  const QTemporaryDir temporary_;
  const QDir folder_{temporary_.path()};
  const std::string path_ = temporary_.path().toStdString();
  QWidget window_;
  platform::qt::QtPanels panels_{window_};
};

TEST_F(QtPanelsTest, TheSavePanelProposesTheFolderAndTheName) {
  Answer([this](QFileDialog& panel, QLineEdit& name) {
    EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptSave);
    EXPECT_EQ(panel.directory().absolutePath().toStdString(), path_);
    EXPECT_EQ(name.text(), "sn_timestamp.txt");
    QTest::keyClick(&name, Qt::Key_Return);
  });
  EXPECT_EQ(panels_.RunSavePanel(path_, "sn_timestamp.txt"), Chosen(path_ + "/sn_timestamp.txt"));
}

TEST_F(QtPanelsTest, ReturnsThePathThatTheUserEnters) {
  const std::string chosen = path_ + "/stock.txt";
  Answer([&](QFileDialog&, QLineEdit& name) {
    name.setText(QString::fromStdString(chosen));
    QTest::keyClick(&name, Qt::Key_Return);
  });
  EXPECT_EQ(panels_.RunSavePanel(path_, "sn_timestamp.txt"), Chosen(chosen));
}

TEST_F(QtPanelsTest, EscapeReturnsNothing) {
  Answer([](QFileDialog& panel, QLineEdit&) { QTest::keyClick(&panel, Qt::Key_Escape); });
  EXPECT_EQ(panels_.RunSavePanel(path_, "sn_timestamp.txt"), std::nullopt);
}

TEST_F(QtPanelsTest, OpensElsewhereIfTheFolderIsMissing) {
  ASSERT_TRUE(folder_.mkpath("Documents"));
  ASSERT_TRUE(folder_.mkpath("share/applications"));
  const test::Variable homes("HOME", path_);
  const test::Variable data("XDG_DATA_DIRS", path_ + "/share");
  for (const bool save : {true, false}) {
    Answer([&](QFileDialog& panel, QLineEdit& name) {
      EXPECT_EQ(panel.directory().path().toStdString(),
                path_ + (save ? "/Documents" : "/share/applications"));
      // A missing file can be proposed for saving, but not for opening.
      EXPECT_EQ(name.text(), save ? "sn_timestamp.txt" : "");
      panel.reject();
    });
    EXPECT_EQ(save ? panels_.RunSavePanel("/not/there", "sn_timestamp.txt")
                   : panels_.RunOpenPanel("/not/there", "TextEdit.app"),
              std::nullopt);
  }
}

}  // namespace
}  // namespace quillet::window_tests
