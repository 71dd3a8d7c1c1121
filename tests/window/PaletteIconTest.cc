#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QPalette>

#include "platform/qt/PaletteIcon.h"
#include "platform/qt/QtMainWindow.h"

namespace quillet::window_tests {
namespace {

class PaletteIconTest : public testing::Test {
 protected:
  ~PaletteIconTest() override { QApplication::setPalette(QPalette()); }

  static QIcon Icon(const char* name) {
    return platform::qt::PaletteIcon(QStringLiteral(":/quillet/icons/%1.svg").arg(name));
  }

  static QImage Draw(const QIcon& icon, qreal scale) {
    return icon.pixmap(QSize(24, 24), scale).toImage().convertToFormat(QImage::Format_ARGB32);
  }

  /// Draws an icon with the given text colour and returns the number of opaque pixels of `colour`.
  static int PixelsWith(const QColor& textColour, const QIcon& icon, const QColor& colour) {
    QPalette palette;
    palette.setColor(QPalette::ButtonText, textColour);
    QApplication::setPalette(palette);
    const QImage image = Draw(icon, 1);
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) count += image.pixelColor(x, y) == colour ? 1 : 0;
    }
    return count;
  }

  platform::qt::QtMainWindow window_;  // links the icons into the test program
};

TEST_F(PaletteIconTest, DrawsEveryIconInTheTextColour) {
  for (const char* name : {"connect", "disconnect", "synchronize", "settings", "clear"}) {
    const QIcon icon = Icon(name);
    ASSERT_FALSE(icon.isNull()) << name;
    EXPECT_GT(PixelsWith(Qt::black, icon, Qt::black), 10) << name;
    EXPECT_GT(PixelsWith(Qt::white, icon, Qt::white), 10) << name;
    EXPECT_EQ(PixelsWith(Qt::white, icon, Qt::black), 0) << name;
  }
  EXPECT_TRUE(Icon("missing").isNull());
}

TEST_F(PaletteIconTest, DrawsIconsAtTheScreenResolution) {
  for (const int scale : {1, 2}) {
    EXPECT_EQ(Draw(Icon("settings"), scale).size(), QSize(24, 24) * scale);
  }
  const QImage application = Draw(window_.widget().windowIcon(), 2);
  EXPECT_EQ(application.size(), QSize(48, 48));
  EXPECT_EQ(qAlpha(application.pixel(24, 24)), 255);
}

}  // namespace
}  // namespace quillet::window_tests
