#pragma once

#include <QColor>

class QWidget;

namespace quillet::platform::qt {

/// Mixes two colours.
/// @param first   the result if `share` is 0
/// @param second  the result if `share` is 1
/// @param share   the proportion of `second`, 0 to 1
QColor Mix(const QColor& first, const QColor& second, float share);

/// Gives a control's outline a contrast of at least 3:1 against the window, with every palette.
/// Qt's default style draws outlines slightly darker than the window. Such outlines are invisible
/// in dark mode. Other styles are not affected. Main thread.
/// @param control  a check box, list, field, button or progress bar
void Outline(QWidget& control);

}  // namespace quillet::platform::qt
