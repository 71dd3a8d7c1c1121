// Makes the program's icon from its drawing:
//   quillet-icon DRAWING.svg ICON.icns            the icon of a macOS bundle, of every size
//   quillet-icon DRAWING.svg PICTURE.png PIXELS   a square picture

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
  const char* type;  // as the icon's file names it
  int pixels;
};

// The sizes of an icon set (iconutil(1)) from 16 points at double scale upwards, each as a PNG
// picture. The two smallest at single scale are left to the system, which makes them from these.
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

/// A block of the file: its type, its length with these eight bytes, and what it holds.
QByteArray Block(const char* type, const QByteArray& contents) {
  QByteArray length(4, '\0');
  qToBigEndian(static_cast<quint32>(8 + contents.size()), length.data());
  return QByteArray(type, 4) + length + contents;
}

/// The icon of a macOS bundle.
QByteArray Icon(QSvgRenderer& drawing) {
  QByteArray pictures;
  for (const Size& size : kSizes) pictures += Block(size.type, Picture(drawing, size.pixels));
  return Block("icns", pictures);
}

}  // namespace

int main(int count, char** arguments) {
  const int pixels = count == 4 ? std::atoi(arguments[3]) : 0;
  if (count != 3 && pixels <= 0) {
    std::fprintf(stderr, "quillet-icon DRAWING.svg ICON.icns | PICTURE.png PIXELS\n");
    return 2;
  }
  QSvgRenderer drawing(QString::fromLocal8Bit(arguments[1]));
  const QByteArray whole = pixels > 0 ? Picture(drawing, pixels) : Icon(drawing);
  QFile file(QString::fromLocal8Bit(arguments[2]));
  if (!drawing.isValid() || !file.open(QIODevice::WriteOnly) || file.write(whole) != whole.size()) {
    std::fprintf(stderr, "quillet-icon: %s cannot be made from %s\n", arguments[2], arguments[1]);
    return 1;
  }
}
