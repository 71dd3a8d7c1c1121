#include "platform/qt/PaletteIcon.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

namespace quillet::platform::qt {
namespace {

QColor ColourFor(QIcon::Mode mode) {
  const QPalette palette = QGuiApplication::palette();
  if (mode == QIcon::Disabled) return palette.color(QPalette::Disabled, QPalette::ButtonText);
  return palette.color(QPalette::Active,
                       mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::ButtonText);
}

class Engine final : public QIconEngine {
 public:
  explicit Engine(QByteArray drawing) : drawing_(std::move(drawing)) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
    QByteArray coloured = drawing_;
    coloured.replace("currentColor", ColourFor(mode).name(QColor::HexRgb).toLatin1());
    QSvgRenderer renderer(coloured);
    renderer.setAspectRatioMode(Qt::KeepAspectRatio);
    painter->setRenderHint(QPainter::Antialiasing);
    renderer.render(painter, QRectF(rect));
  }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    QPixmap drawn(size);
    drawn.fill(Qt::transparent);
    QPainter painter(&drawn);
    paint(&painter, QRect(QPoint(0, 0), size), mode, state);
    return drawn;
  }

  bool isNull() override { return drawing_.isEmpty(); }

  QIconEngine* clone() const override { return new Engine(drawing_); }

 private:
  const QByteArray drawing_;
};

}  // namespace

QIcon PaletteIcon(const QString& file) {
  QFile opened(file);
  if (!opened.open(QIODevice::ReadOnly)) return {};
  return QIcon(new Engine(opened.readAll()));
}

}  // namespace quillet::platform::qt
