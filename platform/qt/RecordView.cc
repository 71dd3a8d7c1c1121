#include "platform/qt/RecordView.h"

#include <QMimeData>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>

#include "platform/qt/RecordText.h"

namespace quillet::platform::qt {
namespace {

constexpr qreal kRecordMargin = 10;      // between the view's edge and its text, in pixels
constexpr qreal kRecordEnlargement = 1;  // see ReadOnlyText

}  // namespace

RecordView::RecordView(QWidget* parent) : ReadOnlyText(kRecordEnlargement, parent) {
  document()->setDocumentMargin(kRecordMargin);
}

void RecordView::InsertAtEnd(const QString& text) {
  const QTextCursor users = textCursor();
  const int anchor = users.anchor();
  const int position = users.position();
  const bool usersSelected = users.hasSelection();

  QTextCursor end(document());
  end.movePosition(QTextCursor::End);
  qt::InsertAtEnd(end, text);

  // The insertion moves a cursor that is at the end of the text. If the user's selection has
  // changed, the code below restores it.
  if (!usersSelected) return;
  if (textCursor().anchor() == anchor && textCursor().position() == position) return;
  QTextCursor restored(document());
  restored.setPosition(anchor);
  restored.setPosition(position, QTextCursor::KeepAnchor);
  setTextCursor(restored);
}

void RecordView::ScrollToEnd() {
  // Lines are wrapped when they become visible, which can move the end further down.
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

}  // namespace quillet::platform::qt
