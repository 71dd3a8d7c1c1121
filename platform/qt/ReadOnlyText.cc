#include "platform/qt/ReadOnlyText.h"

#include <QApplication>
#include <QFocusEvent>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QTextCursor>

namespace quillet::platform::qt {
namespace {

// Distance between tab stops, in characters. Most symbology names and common codes are shorter, so
// the fields of different records line up.
constexpr qreal kTabColumns = 16;

}  // namespace

ReadOnlyText::ReadOnlyText(qreal larger, QWidget* parent)
    : QPlainTextEdit(parent), larger_(larger) {
  setReadOnly(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setUndoRedoEnabled(false);
  setTabChangesFocus(true);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  ShowCaret(false);
  ChooseFont();
}

bool ReadOnlyText::event(QEvent* event) {
  if (event->type() == QEvent::ApplicationFontChange) ChooseFont();
  return QPlainTextEdit::event(event);
}

void ReadOnlyText::focusInEvent(QFocusEvent* event) {
  // Focus from the keyboard shows the caret, and focus from the mouse or the program hides it.
  // Other focus changes, for example after a menu is closed, leave it unchanged.
  const Qt::FocusReason reason = event->reason();
  if (reason == Qt::MouseFocusReason || reason == Qt::OtherFocusReason) ShowCaret(false);
  if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
      reason == Qt::ShortcutFocusReason) {
    ShowCaret(true);
  }
  QPlainTextEdit::focusInEvent(event);
}

void ReadOnlyText::keyPressEvent(QKeyEvent* event) {
  const int position = textCursor().position();
  QPlainTextEdit::keyPressEvent(event);
  if (textCursor().position() != position) ShowCaret(true);
}

void ReadOnlyText::mousePressEvent(QMouseEvent* event) {
  ShowCaret(false);
  QPlainTextEdit::mousePressEvent(event);
}

void ReadOnlyText::ChooseFont() {
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSizeF(qMax(font.pointSizeF(), QApplication::font().pointSizeF() + larger_));
  setFont(font);
  setTabStopDistance(kTabColumns * QFontMetricsF(font).horizontalAdvance(QLatin1Char('0')));
}

}  // namespace quillet::platform::qt
