#pragma once

class QWidget;

namespace quillet::platform::qt {

/// Lets a control's outline stand out from its ground as a control should, at least three to one,
/// whatever the desktop's colours become. Qt's own style draws outlines a little darker than the
/// window's colour, which can hardly be seen in a light window and not at all in a dark one. Styles
/// that do otherwise are not affected.
/// @param control  a check box, list, field, button or progress bar. Main thread.
void Outline(QWidget& control);

}  // namespace quillet::platform::qt
