#include "platform/qt/RecordView.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QMimeData>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>

#include "platform/qt/RecordText.h"

namespace quillet::platform::qt {
namespace {

constexpr qreal kMargin = 10;      // between the view's edge and its text, in pixels
constexpr qreal kTabColumns = 16;  // a tab stop's distance, in characters: most symbologies' names
                                   // and the common codes stand in columns, and so do times
constexpr qreal kLarger = 1;       // than the desktop's general face, in points

}  // namespace

RecordView::RecordView(QWidget* parent) : QPlainTextEdit(parent) {
  setReadOnly(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setUndoRedoEnabled(false);
  setTabChangesFocus(true);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  document()->setDocumentMargin(kMargin);
  ChooseFace();
}

void RecordView::InsertAtEnd(const QString& text) {
  const QTextCursor users = textCursor();
  const int anchor = users.anchor();
  const int position = users.position();
  const bool users_selected = users.hasSelection();

  QTextCursor end(document());
  end.movePosition(QTextCursor::End);
  qt::InsertAtEnd(end, text);

  // A cursor at the place of an insertion moves along with it. That is right where nothing is
  // selected: a cursor at the end stays there.
  if (!users_selected) return;
  if (textCursor().anchor() == anchor && textCursor().position() == position) return;
  QTextCursor restored(document());
  restored.setPosition(anchor);
  restored.setPosition(position, QTextCursor::KeepAnchor);
  setTextCursor(restored);
}

void RecordView::ScrollToEnd() {
  // Lines are wrapped as they come into sight, which can move the end further down.
  QScrollBar* bar = verticalScrollBar();
  for (int tries = 0; tries < 4 && bar->value() != bar->maximum(); ++tries) {
    bar->setValue(bar->maximum());
  }
}

QMimeData* RecordView::createMimeDataFromSelection() const {
  auto* plain = new QMimeData;
  plain->setText(SelectedRecordText(textCursor()));
  return plain;
}

bool RecordView::event(QEvent* event) {
  if (event->type() == QEvent::ApplicationFontChange) ChooseFace();
  return QPlainTextEdit::event(event);
}

/// Takes the fixed-width face, a little larger than the desktop's general one: a desktop that is
/// set to large text gets large records too, and long numbers stay easy to read.
void RecordView::ChooseFace() {
  QFont face = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  const qreal size = QApplication::font().pointSizeF() + kLarger;
  if (face.pointSizeF() < size) face.setPointSizeF(size);
  setFont(face);
  setTabStopDistance(kTabColumns * QFontMetricsF(face).horizontalAdvance(QLatin1Char('0')));
}

}  // namespace quillet::platform::qt
