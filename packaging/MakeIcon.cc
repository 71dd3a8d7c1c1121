// Creates the program's icons from an SVG file:
//   quillet-icon DRAWING.svg ICON.icns            icon file for a macOS bundle, with all sizes
//   quillet-icon DRAWING.svg PICTURE.png PIXELS   square PNG image

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QtEndian>
#include <cstdio>
#include <cstdlib>

namespace {

struct Size {
  const char* type;  // image type in the .icns file
  int pixels;
};

// All sizes of an icon set (iconutil(1)) except icon_16x16 and icon_32x32, which macOS creates by
// scaling.
constexpr Size kSizes[] = {{"ic11", 32},  {"ic12", 64},  {"ic07", 128}, {"ic13", 256},
                           {"ic08", 256}, {"ic14", 512}, {"ic09", 512}, {"ic10", 1024}};

QByteArray Picture(QSvgRenderer& drawing, int pixels) {
  QImage image(pixels, pixels, QImage::Format_ARGB32);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  drawing.render(&painter);
  painter.end();
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return bytes;
}

/// Returns a block of an .icns file: type, total length and contents.
QByteArray Block(const char* type, const QByteArray& contents) {
  QByteArray length(4, '\0');
  qToBigEndian(static_cast<quint32>(8 + contents.size()), length.data());
  return QByteArray(type, 4) + length + contents;
}

/// Returns the bytes of an .icns file with the drawing in all sizes.
QByteArray Icon(QSvgRenderer& drawing) {
  QByteArray pictures;
  for (const Size& size : kSizes) pictures += Block(size.type, Picture(drawing, size.pixels));
  return Block("icns", pictures);
}

}  // namespace

int main(int count, char** arguments) {
  const int pixels = count == 4 ? std::atoi(arguments[3]) : 0;
  if (count != 3 && pixels <= 0) {
    std::fprintf(stderr, "Usage: quillet-icon DRAWING.svg ICON.icns | PICTURE.png PIXELS\n");
    return 2;
  }
  QSvgRenderer drawing(QString::fromLocal8Bit(arguments[1]));
  const QByteArray whole = pixels > 0 ? Picture(drawing, pixels) : Icon(drawing);
  QFile file(QString::fromLocal8Bit(arguments[2]));
  if (!drawing.isValid() || !file.open(QIODevice::WriteOnly) || file.write(whole) != whole.size()) {
    std::fprintf(stderr, "quillet-icon: cannot create %s from %s\n", arguments[2], arguments[1]);
    return 1;
  }
}
