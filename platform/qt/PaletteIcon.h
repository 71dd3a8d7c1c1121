#pragma once

#include <QIcon>
#include <QString>

namespace quillet::platform::qt {

/// An icon drawn from a vector file at the very size that is asked for, in the colour that the
/// palette has for button texts at the moment of drawing: it follows a change between a light and
/// a dark palette by itself.
/// @param file  an SVG file, usually a resource; wherever it says currentColor, the palette's
///              colour is put in. A file without that is drawn as it is.
QIcon PaletteIcon(const QString& file);

}  // namespace quillet::platform::qt
