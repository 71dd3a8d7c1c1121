#pragma once

namespace quillet::platform::qt {

/// Sees to it that assistive technology finds a combo box with an accessible name under that name,
/// and what is selected as its value. By itself Qt on Unix gives the selected item's text as the
/// name, which changes with every selection (qtbase, QAccessibleComboBox::text).
///
/// To be called once, on the main thread, before the first such box is shown.
void NameListsForAssistiveTechnology();

}  // namespace quillet::platform::qt
