#pragma once

#include <QPlainTextEdit>

namespace quillet::platform::qt {

/// A widget with text that can be read, selected and copied, by mouse and keyboard, and not
/// changed, in the desktop's fixed-width face. It follows the desktop's font: one that is set to
/// large text gets large records too.
///
/// A caret shows only while the keyboard is used in it. A blinking one promises that something can
/// be written there.
class ReadOnlyText : public QPlainTextEdit {
 protected:
  /// @param larger  how much larger than the desktop's general face, in points
  /// @param parent  owns it, if there is one
  explicit ReadOnlyText(qreal larger, QWidget* parent = nullptr);

  bool event(QEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  void ChooseFace();
  void ShowCaret(bool show);

  const qreal larger_;
};

}  // namespace quillet::platform::qt
