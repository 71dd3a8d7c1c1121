#pragma once

#include <QString>
#include <string_view>

class QTextCursor;

namespace quillet::platform::qt {

// How a text stands in a QTextDocument so that it can be taken out again unchanged.
//
// A document's paragraphs end where a line feed was. But a document also takes a carriage return,
// U+2028, U+2029, U+FDD0, U+FDD1 and U+FFFC for parts of its own structure, and many receivers of
// a text take a NUL for its end. Each of these stands in the document as one of the code points
// U+FDE0 to U+FDE6, which Unicode keeps for such internal use, and is put back when text is taken
// out.
//
// A paragraph of hundreds of kilobytes would be laid out as a whole for every text that is added
// to it. Such a paragraph is continued in further blocks of the document, of a few thousand
// characters each; it looks like a line that wraps, and no line feed is taken out there. (Assistive
// technology, which reads the document itself, finds the blocks as lines.)
//
// What does not come back as it was: bytes that are not UTF-8 (they become U+FFFD) and the code
// points U+FDE0 to U+FDE6 themselves.

/// Decodes UTF-8 and puts the stand-ins in.
QString ToDocumentText(std::string_view text);

/// Inserts text that has its stand-ins at a cursor that is at the end of its document, continuing
/// over-long paragraphs. One edit block: the document reports one change.
void InsertAtEnd(QTextCursor& end, const QString& text);

/// The text that a cursor has selected, as it was before it was put into the document.
QString SelectedRecordText(const QTextCursor& selection);

}  // namespace quillet::platform::qt
