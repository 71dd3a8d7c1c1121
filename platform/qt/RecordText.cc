#include "platform/qt/RecordText.h"

#include <QStringDecoder>
#include <QTextBlock>
#include <QTextCursor>
#include <array>

namespace quillet::platform::qt {
namespace {

// The replaced characters, in the order of their replacement characters.
constexpr std::array<char16_t, 7> kReserved = {0x0000, 0x000D, 0x2028, 0x2029,
                                               0xFDD0, 0xFDD1, 0xFFFC};
constexpr char16_t kFirstReplacement = 0xFDE0;

// The state of a block that continues the paragraph of the previous block.
constexpr int kContinuation = 1;

// Lengths of a block in UTF-16 units. A paragraph is split after the first blank beyond
// kFairLength, or at kFullLength if no such blank precedes it. A full block takes about 1 ms to lay
// out.
constexpr int kFairLength = 1800;
constexpr int kFullLength = 2000;

bool IsBlank(QChar c) {
  return c == u' ' || c == u'\t';
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

QString SelectedRecordText(const QTextCursor& selection) {
  const int start = selection.selectionStart();
  const int end = selection.selectionEnd();
  QString text;
  QTextBlock block = selection.document()->findBlock(start);
  for (bool first = true; block.isValid() && block.position() <= end; block = block.next()) {
    if (!first && block.userState() != kContinuation) text += u'\n';
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
