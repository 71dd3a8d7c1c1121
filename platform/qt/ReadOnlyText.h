#pragma once

#include <QPlainTextEdit>

namespace quillet::platform::qt {

/// A text widget that the user can select and copy from, but not edit. It uses the desktop's
/// fixed-width font and adapts when the font size changes.
///
/// The caret is visible only during keyboard use, because a caret suggests that the text is
/// editable.
class ReadOnlyText : public QPlainTextEdit {
 protected:
  /// @param larger  points to add to the font size of the desktop's general font
  /// @param parent  the owner, or null
  explicit ReadOnlyText(qreal larger, QWidget* parent = nullptr);

  bool event(QEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  void ChooseFont();
  void ShowCaret(bool show) { setCursorWidth(show ? 1 : 0); }

  const qreal larger_;
};

}  // namespace quillet::platform::qt
