#include "platform/qt/ReadOnlyText.h"

#include <QApplication>
#include <QFocusEvent>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QTextCursor>

namespace quillet::platform::qt {
namespace {

constexpr qreal kTabColumns = 16;  // a tab stop's distance, in characters: most symbologies' names
                                   // and the common codes stand in columns, and so do times

}  // namespace

ReadOnlyText::ReadOnlyText(qreal larger, QWidget* parent)
    : QPlainTextEdit(parent), larger_(larger) {
  setReadOnly(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setUndoRedoEnabled(false);
  setTabChangesFocus(true);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  ShowCaret(false);
  ChooseFace();
}

bool ReadOnlyText::event(QEvent* event) {
  if (event->type() == QEvent::ApplicationFontChange) ChooseFace();
  return QPlainTextEdit::event(event);
}

void ReadOnlyText::focusInEvent(QFocusEvent* event) {
  switch (event->reason()) {
    case Qt::TabFocusReason:
    case Qt::BacktabFocusReason:
    case Qt::ShortcutFocusReason:
      ShowCaret(true);
      break;
    case Qt::MouseFocusReason:
    case Qt::OtherFocusReason:
      ShowCaret(false);
      break;
    default:
      break;  // as it was before the window or a menu took the keyboard
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

void ReadOnlyText::ChooseFace() {
  QFont face = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  face.setPointSizeF(qMax(face.pointSizeF(), QApplication::font().pointSizeF() + larger_));
  setFont(face);
  setTabStopDistance(kTabColumns * QFontMetricsF(face).horizontalAdvance(QLatin1Char('0')));
}

void ReadOnlyText::ShowCaret(bool show) {
  setCursorWidth(show ? 1 : 0);
}

}  // namespace quillet::platform::qt
