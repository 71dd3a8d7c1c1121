#pragma once

#include "base/TextBacklog.h"
#include "platform/qt/ReadOnlyText.h"

namespace quillet::platform::qt {

/// The widget of the main view. Copying and dragging provide the original plain text (see
/// RecordText.h).
class RecordView final : public ReadOnlyText {
 public:
  static constexpr int kMostLines = 100'000;          ///< see RemoveOldRecords
  static constexpr int kMostText = 16 * 1024 * 1024;  ///< see RemoveOldRecords

  explicit RecordView(QWidget* parent = nullptr);

  /// Inserts text from ToDocumentText at the end. Keeps the user's selection. A cursor at the end
  /// stays at the end if nothing is selected.
  void InsertAtEnd(const QString& text, TextKind kind);

  /// Removes the oldest records until at most kMostLines lines and kMostText characters remain.
  /// Keeps lines that contain messages. A long line is removed in parts of about 2,000 characters.
  /// The visible lines that remain do not move.
  /// @return true if lines were removed
  bool RemoveOldRecords();

  void Clear();  ///< removes all text

  /// Scrolls down until the last line is visible.
  void ScrollToEnd();

 protected:
  QMimeData* createMimeDataFromSelection() const override;

 private:
  void Remove(int lines, int characters);

  int messageBlocks_ = 0;         // number of blocks with a message
  int messageText_ = 0;           // number of characters in messages
  int leadingMessageBlocks_ = 0;  // number of message blocks at the start; Remove skips them
};

}  // namespace quillet::platform::qt
