#include "platform/qt/RecordView.h"

#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>
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

void RecordView::InsertAtEnd(const QString& text, TextKind kind) {
  const QTextCursor users = textCursor();
  const int anchor = users.anchor();
  const int position = users.position();
  const bool usersSelected = users.hasSelection();

  QTextCursor end(document());
  end.movePosition(QTextCursor::End);
  const int block = end.blockNumber();
  qt::InsertAtEnd(end, text);
  if (kind == TextKind::kMessage) {
    messageBlocks_ += MarkMessage(*document(), block);
    messageText_ += static_cast<int>(text.size());
  }

  // The insertion moves a cursor that is at the end of the text. If this has changed the user's
  // selection, the code below restores the selection.
  if (!usersSelected) return;
  if (textCursor().anchor() == anchor && textCursor().position() == position) return;
  QTextCursor restored(document());
  restored.setPosition(anchor);
  restored.setPosition(position, QTextCursor::KeepAnchor);
  setTextCursor(restored);
}

bool RecordView::RemoveOldRecords() {
  // The last block is never removed and is usually empty, so it does not count as a record line.
  const int last = HasMessage(document()->lastBlock()) ? 0 : 1;
  const int lines = document()->blockCount() - last - messageBlocks_ - kMostLines;
  const int characters = document()->characterCount() - messageText_ - kMostText;
  if (lines <= 0 && characters <= 0) return false;
  const int before = document()->blockCount();
  QScrollBar* bar = verticalScrollBar();
  const QTextCursor top(firstVisibleBlock());
  const int hiddenLines = bar->value() - top.block().firstLineNumber();
  Remove(lines, characters);
  bar->setValue(top.block().firstLineNumber() + hiddenLines);
  return document()->blockCount() < before;
}

void RecordView::Remove(int lines, int characters) {
  QTextCursor edit(document());
  edit.beginEditBlock();
  const auto isExcess = [&](const QTextBlock& block) {
    return (lines > 0 || characters > 0) && block.next().isValid();
  };
  QTextBlock block = document()->findBlockByNumber(leadingMessageBlocks_);
  while (isExcess(block)) {
    const QTextBlock first = block;
    for (; isExcess(block) && !HasMessage(block); block = block.next()) {
      --lines;
      characters -= block.length();
    }
    if (block != first) block = RemoveBlocks(first, block);
    for (; isExcess(block) && HasMessage(block); block = block.next()) ++leadingMessageBlocks_;
  }
  edit.endEditBlock();
}

void RecordView::Clear() {
  clear();
  messageBlocks_ = messageText_ = leadingMessageBlocks_ = 0;
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
