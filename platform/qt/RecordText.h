#pragma once

#include <QString>
#include <string_view>

class QTextBlock;
class QTextCursor;
class QTextDocument;

namespace quillet::platform::qt {

// Conversion of text for a QTextDocument and back.
//
// A document uses some characters for its structure: CR, U+2028, U+2029, U+FDD0, U+FDD1 and U+FFFC.
// Many programs treat NUL as the end of a pasted text. These seven characters are replaced by
// U+FDE0 to U+FDE6, which Unicode reserves for internal use.
//
// The document lays out a paragraph as a whole, which is slow for a long paragraph. A long
// paragraph is therefore split into blocks of about 2,000 characters. The split looks like a
// wrapped line and is removed from copied text. Assistive technology sees each block as a line.
//
// Converting text to the document and back changes two kinds of text: bytes that are not UTF-8
// become U+FFFD, and U+FDE0 to U+FDE6 become the characters that they replace in the document.

/// Decodes UTF-8 and replaces the characters that the document cannot contain.
QString ToDocumentText(std::string_view text);

/// Inserts text from ToDocumentText. The document reports the insertion as one change.
/// @param end   a cursor at the end of its document
/// @param text  may contain several paragraphs
void InsertAtEnd(QTextCursor& end, const QString& text);

/// Marks all blocks from block number `first` to the end of the document as message blocks, except
/// an empty last block.
/// @return the number of blocks that were not marked before
int MarkMessage(const QTextDocument& document, int first);

/// Returns true if a block contains message text.
bool HasMessage(const QTextBlock& block);

/// Removes whole blocks.
/// @param first  the first block to remove
/// @param next   the block after the last one to remove; must be valid
/// @return the block after the removed ones
QTextBlock RemoveBlocks(const QTextBlock& first, const QTextBlock& next);

/// Returns the selected text with the original characters.
QString SelectedRecordText(const QTextCursor& selection);

}  // namespace quillet::platform::qt
