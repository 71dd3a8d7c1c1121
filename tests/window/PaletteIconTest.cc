#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QPalette>
#include <QWidget>

#include "platform/qt/PaletteIcon.h"
#include "platform/qt/QtMainWindow.h"

namespace quillet::window_tests {
namespace {

using platform::qt::PaletteIcon;

class PaletteIconTest : public testing::Test {
 protected:
  ~PaletteIconTest() override { QApplication::setPalette(QPalette()); }

  static void UseTextColour(const QColor& colour) {
    QPalette palette;
    palette.setColor(QPalette::ButtonText, colour);
    QApplication::setPalette(palette);
  }

  static QImage Draw(const QIcon& icon, qreal scale) {
    return icon.pixmap(QSize(24, 24), scale).toImage().convertToFormat(QImage::Format_ARGB32);
  }

  static int OpaquePixels(const QImage& image, const QColor& colour) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) count += image.pixelColor(x, y) == colour ? 1 : 0;
    }
    return count;
  }

  // The icons are linked in by the window that shows them.
  platform::qt::QtMainWindow window_;
};

TEST_F(PaletteIconTest, EveryIconIsDrawnInThePalettesColour) {
  for (const char* name : {"connect", "disconnect", "synchronize", "settings", "clear"}) {
    const QIcon icon = PaletteIcon(QStringLiteral(":/quillet/icons/%1.svg").arg(name));
    ASSERT_FALSE(icon.isNull()) << name;
    UseTextColour(Qt::black);
    EXPECT_GT(OpaquePixels(Draw(icon, 1), Qt::black), 10) << name;
    UseTextColour(Qt::white);
    const QImage light = Draw(icon, 1);
    EXPECT_GT(OpaquePixels(light, Qt::white), 10) << name;
    EXPECT_EQ(OpaquePixels(light, Qt::black), 0) << name;
  }
}

TEST_F(PaletteIconTest, IconsAreDrawnAtTheScreensOwnResolution) {
  const QIcon icon = PaletteIcon(QStringLiteral(":/quillet/icons/settings.svg"));
  EXPECT_EQ(Draw(icon, 1).size(), QSize(24, 24));
  EXPECT_EQ(Draw(icon, 2).size(), QSize(48, 48));
}

TEST_F(PaletteIconTest, ApplicationIconIsThere) {
  const QImage drawn = Draw(window_.widget().windowIcon(), 2);
  EXPECT_EQ(drawn.size(), QSize(48, 48));
  EXPECT_EQ(qAlpha(drawn.pixel(24, 24)), 255);
}

TEST_F(PaletteIconTest, MissingFileGivesNoIcon) {
  EXPECT_TRUE(PaletteIcon(QStringLiteral(":/quillet/icons/missing.svg")).isNull());
}

}  // namespace
}  // namespace quillet::window_tests
