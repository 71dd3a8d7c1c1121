#pragma once

#include <QIcon>
#include <QString>

namespace quillet::platform::qt {

/// Creates an icon from a vector file, drawn at the requested size in the palette's current colour
/// for button text. The icon adapts when the palette changes between light and dark.
/// @param file  an SVG file, usually a resource. Each "currentColor" in it is replaced.
QIcon PaletteIcon(const QString& file);

}  // namespace quillet::platform::qt
