#include "platform/qt/RecordText.h"

#include <QStringDecoder>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <array>

namespace quillet::platform::qt {
namespace {

// ToDocumentText replaces the character at index i with kFirstReplacement + i.
constexpr std::array<char16_t, 7> kReserved = {0x0000, 0x000D, 0x2028, 0x2029,
                                               0xFDD0, 0xFDD1, 0xFFFC};
constexpr char16_t kFirstReplacement = 0xFDE0;

// Flags of a block, stored as its state. A new block has the state -1 and no flags.
constexpr int kContinuation = 1;  // continues the paragraph of the previous block
constexpr int kMessage = 2;       // contains message text

// Lengths of a block in UTF-16 units. A paragraph is split after the first blank beyond
// kFairLength. If there is no such blank before kFullLength, it is split at kFullLength. A full
// block takes about 1 ms to lay out.
constexpr int kFairLength = 1800;
constexpr int kFullLength = 2000;

bool IsBlank(QChar c) {
  return c == u' ' || c == u'\t';
}

int Flags(const QTextBlock& block) {
  return qMax(0, block.userState());
}

void StartContinuation(QTextCursor& end) {
  end.insertBlock();
  end.block().setUserState(kContinuation);
}

}  // namespace

QString ToDocumentText(std::string_view text) {
  // ConvertInitialBom keeps a byte order mark at the beginning of a text.
  QStringDecoder decode(QStringConverter::Utf8, QStringConverter::Flag::Stateless |
                                                    QStringConverter::Flag::ConvertInitialBom);
  QString decoded = decode(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
  for (QChar& c : decoded) {
    for (std::size_t i = 0; i < kReserved.size(); ++i) {
      if (c == kReserved[i]) c = QChar(static_cast<char16_t>(kFirstReplacement + i));
    }
  }
  return decoded;
}

void InsertAtEnd(QTextCursor& end, const QString& text) {
  end.beginEditBlock();
  qsizetype length = end.positionInBlock();
  bool afterBlank = length > 0 && IsBlank(end.block().text().back());
  qsizetype inserted = 0;
  for (qsizetype i = 0; i < text.size(); ++i) {
    const QChar c = text[i];
    if (c == u'\n') {
      length = 0;
      afterBlank = false;
      continue;
    }
    const bool full = length >= kFullLength || (afterBlank && length >= kFairLength);
    if (full && !c.isLowSurrogate()) {
      end.insertText(text.mid(inserted, i - inserted));
      StartContinuation(end);
      inserted = i;
      length = 0;
    }
    ++length;
    afterBlank = IsBlank(c);
  }
  end.insertText(text.mid(inserted));
  end.endEditBlock();
}

int MarkMessage(const QTextDocument& document, int first) {
  int marked = 0;
  for (QTextBlock block = document.findBlockByNumber(first); block.isValid();
       block = block.next()) {
    const bool isEmptyEnd = block.length() == 1 && !block.next().isValid();
    if (isEmptyEnd || HasMessage(block)) continue;
    block.setUserState(Flags(block) | kMessage);
    ++marked;
  }
  return marked;
}

bool HasMessage(const QTextBlock& block) {
  return (Flags(block) & kMessage) != 0;
}

QTextBlock RemoveBlocks(const QTextBlock& first, const QTextBlock& next) {
  // If the beginning of a paragraph is removed, the next block begins the paragraph.
  const int state = Flags(next) & (Flags(first) | ~kContinuation);
  QTextCursor removed(first);
  removed.setPosition(next.position(), QTextCursor::KeepAnchor);
  removed.removeSelectedText();
  QTextBlock block = removed.block();
  block.setUserState(state);
  return block;
}

QString SelectedRecordText(const QTextCursor& selection) {
  const int start = selection.selectionStart();
  const int end = selection.selectionEnd();
  QString text;
  QTextBlock block = selection.document()->findBlock(start);
  for (bool first = true; block.isValid() && block.position() <= end; block = block.next()) {
    if (!first && (Flags(block) & kContinuation) == 0) text += u'\n';
    first = false;
    const int from = qMax(0, start - block.position());
    text += QStringView(block.text()).mid(from, end - block.position() - from);
  }
  for (QChar& c : text) {
    const int index = c.unicode() - kFirstReplacement;
    if (index >= 0 && index < static_cast<int>(kReserved.size())) {
      c = QChar(kReserved[static_cast<std::size_t>(index)]);
    }
  }
  return text;
}

}  // namespace quillet::platform::qt
