#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QFontInfo>
#include <QGuiApplication>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <algorithm>
#include <cstdint>
#include <string>
#include <thread>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtTextView.h"
#include "platform/qt/RecordView.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtMainQueue;
using platform::qt::QtTextView;
using platform::qt::RecordView;

class TextView : public testing::Test {
 protected:
  TextView() {
    widget_.resize(600, 300);
    widget_.show();
  }

  void Settle() {
    ASSERT_TRUE(SpinUntil([this] { return !view_.HasPending(); }));
    SpinUntilIdle();
  }

  void Show(std::string_view text) {
    view_.Append(text);
    Settle();
  }

  static std::string Clipboard() { return QGuiApplication::clipboard()->text().toStdString(); }

  std::string CopyAll() {
    widget_.selectAll();
    widget_.copy();
    return Clipboard();
  }

  void Select(int anchor, int position) {
    QTextCursor cursor(widget_.document());
    cursor.setPosition(anchor);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    widget_.setTextCursor(cursor);
  }

  /// Returns the length of the longest block. The widget lays out each block as a whole.
  int LongestBlock() const {
    int longest = 0;
    for (QTextBlock block = widget_.document()->begin(); block.isValid(); block = block.next()) {
      longest = std::max(longest, block.length());
    }
    return longest;
  }

  bool AtEnd() {
    return widget_.verticalScrollBar()->value() == widget_.verticalScrollBar()->maximum();
  }

  RecordView widget_;
  QtTextView view_{widget_};
};

TEST_F(TextView, OnlyALineFeedEndsALine) {
  Show("a\rb\vc\fd\xE2\x80\xA8 e\xE2\x80\xA9 f\x1Dg\xC2\x85h");
  EXPECT_EQ(widget_.document()->blockCount(), 1);
  Show("\n\n");
  EXPECT_EQ(widget_.document()->blockCount(), 3);
}

TEST_F(TextView, KeepsCharactersThatQtTreatsSpecially) {
  std::string text("\xEF\xBB\xBF first\r\nsecond\rthird\n\tfourth ");
  text += std::string("NUL\0FF\fVT\vGS\x1D", 13);
  text += "\xC2\xA0\xE2\x80\xA8\xE2\x80\xA9\xEF\xB7\x90\xEF\xB7\x91\xEF\xBF\xBC\xEF\xBB\xBF";
  text += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xA6&amp;<b>  spaces  </b>\n";
  Show(text);
  EXPECT_EQ(view_.ShownText(), text);
  EXPECT_EQ(CopyAll(), text);
}

TEST_F(TextView, ReplacesInvalidUtf8) {
  Show("a\xFF|\xC3");
  Show("c\n");
  EXPECT_EQ(view_.ShownText(),
            "a\xEF\xBF\xBD|\xEF\xBF\xBD"
            "c\n");
}

TEST_F(TextView, SplitsLongTextBetweenCharacters) {
  std::string text = "x";
  while (text.size() < 40'000) text += "\xF0\x9F\x93\xA6";
  view_.SetText(text);
  Settle();
  EXPECT_EQ(view_.ShownText(), text);
  for (QTextBlock block = widget_.document()->begin(); block.isValid(); block = block.next()) {
    ASSERT_FALSE(block.text().at(0).isLowSurrogate());
  }
}

TEST_F(TextView, AppendingKeepsTheSelection) {
  const struct {
    int anchor;
    int position;
    const char* selected;
  } selections[] = {{2, 5, "234"}, {4, 10, "456789"}, {10, 4, "456789"}, {1, 1, ""}};
  for (const auto& [anchor, position, selected] : selections) {
    view_.SetText("");
    Show("0123456789");
    EXPECT_TRUE(widget_.textCursor().atEnd());
    Select(anchor, position);
    Show("more\n");
    EXPECT_EQ(widget_.textCursor().anchor(), anchor);
    EXPECT_EQ(widget_.textCursor().position(), position);
    EXPECT_EQ(widget_.textCursor().selectedText(), selected);
    EXPECT_EQ(view_.ShownText(), "0123456789more\n");
  }
}

TEST_F(TextView, SetTextDropsPendingTextOfAnyLength) {
  view_.Append(std::string(20'000'000, 'x'));
  QCoreApplication::processEvents();
  ASSERT_TRUE(view_.HasPending());
  EXPECT_NE(view_.ShownText(), "");
  view_.SetText("new");
  EXPECT_EQ(view_.ShownText(), "") << "the old text is removed at once";
  Settle();
  EXPECT_EQ(view_.ShownText(), "new");
}

TEST_F(TextView, ScrollsToTheEndDespiteWrappedLines) {
  for (int i = 0; i < 200; ++i) {
    view_.Append(std::string(static_cast<std::size_t>(50 + i * 3), 'w') + "\n");
    view_.ScrollToEnd();
  }
  view_.Append("last");
  view_.ScrollToEnd();
  Settle();
  EXPECT_TRUE(AtEnd());
  QTextCursor end(widget_.document());
  end.movePosition(QTextCursor::End);
  EXPECT_TRUE(widget_.viewport()->rect().contains(widget_.cursorRect(end)));
}

TEST_F(TextView, FontIsFixedPitchAndFollowsTheDesktopFont) {
  const QFont usual = QApplication::font();
  const qreal before = widget_.font().pointSizeF();
  EXPECT_TRUE(QFontInfo(widget_.font()).fixedPitch());
  EXPECT_GE(before, usual.pointSizeF());
  QFont large = usual;
  large.setPointSizeF(before * 2);
  QApplication::setFont(large);
  EXPECT_TRUE(SpinUntil([&] { return widget_.font().pointSizeF() >= before * 2; }));
  EXPECT_TRUE(QFontInfo(widget_.font()).fixedPitch());
  QApplication::setFont(usual);
  EXPECT_TRUE(SpinUntil([&] { return widget_.font().pointSizeF() == before; }));
}

TEST_F(TextView, UserCannotChangeTheText) {
  Show("fixed");
  widget_.setFocus();
  QTest::keyClicks(&widget_, "typed");
  for (const Qt::Key key : {Qt::Key_Backspace, Qt::Key_Delete, Qt::Key_Return}) {
    QTest::keyClick(&widget_, key);
  }
  QTest::keyClick(&widget_, Qt::Key_Z, Qt::ControlModifier);
  QGuiApplication::clipboard()->setText("pasted");
  QTest::keyClick(&widget_, Qt::Key_V, Qt::ControlModifier);
  Select(0, 5);
  QTest::keyClick(&widget_, Qt::Key_X, Qt::ControlModifier);
  EXPECT_EQ(view_.ShownText(), "fixed");
}

TEST_F(TextView, KeyboardSelectsAndCopiesText) {
  Show("first\nsecond\nthird");
  widget_.setFocus();
  QTest::keyClick(&widget_, Qt::Key_Home, Qt::ControlModifier);
  QTest::keyClick(&widget_, Qt::Key_Right);
  QTest::keyClick(&widget_, Qt::Key_Down, Qt::ShiftModifier);
  QTest::keyClick(&widget_, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(Clipboard(), "irst\ns");
}

TEST_F(TextView, MouseSelectsText) {
  Show("0123456789");
  const auto point = [this](int position) {
    QTextCursor cursor(widget_.document());
    cursor.setPosition(position);
    return widget_.cursorRect(cursor).center();
  };
  QTest::mousePress(widget_.viewport(), Qt::LeftButton, {}, point(2));
  QTest::mouseMove(widget_.viewport(), point(4));
  QTest::mouseMove(widget_.viewport(), point(6));
  QTest::mouseRelease(widget_.viewport(), Qt::LeftButton, {}, point(6));
  EXPECT_EQ(widget_.textCursor().selectedText(), "2345");
}

std::string Record(int number) {
  return "EAN-13 " + std::to_string(4006381333931 + number);
}

constexpr int kRecords = 100'000;

TEST_F(TextView, ShowsAHundredThousandRecordsFromAnotherThread) {
  QtMainQueue queue;
  std::string expected;
  for (int i = 0; i < kRecords; ++i) expected += Record(i) + "\n";
  bool queued = false;
  std::thread producer([&] {
    for (int i = 0; i < kRecords; ++i) {
      queue.Async([this, text = Record(i) + "\n"] {
        view_.Append(text);
        view_.ScrollToEnd();
      });
    }
    queue.Async([&] { queued = true; });
  });
  ASSERT_TRUE(SpinUntil([&] { return queued; }));
  producer.join();
  Settle();
  EXPECT_TRUE(view_.ShownText() == expected);
  EXPECT_EQ(widget_.document()->blockCount(), kRecords + 1);
  EXPECT_TRUE(AtEnd());
}

TEST_F(TextView, SplitsLongLinesWithoutChangingTheText) {
  for (const std::string delimiter : {"", "\t"}) {
    view_.SetText("");
    std::string expected;
    for (int i = 0; i < kRecords; ++i) {
      view_.Append(Record(i) + delimiter);
      expected += Record(i) + delimiter;
    }
    expected += "\nnext";
    Show("\nnext");
    EXPECT_TRUE(view_.ShownText() == expected);
    EXPECT_TRUE(CopyAll() == expected);
    EXPECT_LE(LongestBlock(), 2100);
  }
}

TEST_F(TextView, SplitsALineAppendedCharacterByCharacter) {
  for (int i = 0; i < 5'000; ++i) {
    view_.Append(".");
    if (i % 100 == 0) QCoreApplication::processEvents();
  }
  Settle();
  EXPECT_EQ(view_.ShownText(), std::string(5'000, '.'));
  EXPECT_LE(LongestBlock(), 2100);
}

TEST_F(TextView, RemovesOldestRecordLinesButKeepsMessages) {
  int removals = 0;
  view_.OnRecordsRemoved([&] { ++removals; });
  view_.Append("started\nrun: ");
  for (int i = 0; i < kRecords; ++i) view_.AppendRecords(Record(i) + "\n");
  view_.Append("finished\n");
  Settle();
  EXPECT_EQ(removals, 0);
  std::string expected = "started\nrun: ";
  for (int i = 0; i < kRecords; ++i) expected += Record(i) + "\n";
  EXPECT_TRUE(view_.ShownText() == expected + "finished\n");

  for (int i = 0; i < 5'000; ++i) view_.AppendRecords("new " + Record(i) + "\n");
  view_.Append("end");
  Settle();
  EXPECT_GT(removals, 0);
  // Record 0 shares its line with a message.
  expected = "started\nrun: " + Record(0) + "\n";
  for (int i = 5'000; i < kRecords; ++i) expected += Record(i) + "\n";
  expected += "finished\n";
  for (int i = 0; i < 5'000; ++i) expected += "new " + Record(i) + "\n";
  EXPECT_TRUE(view_.ShownText() == expected + "end");
}

TEST_F(TextView, RemovalPreservesSelectionAndVisibleLines) {
  for (int i = 0; i < kRecords; ++i) view_.AppendRecords(Record(i) + "\n");
  Settle();
  const auto record = [this](int number) {
    return widget_.document()->find(QString::fromStdString(Record(number))).block();
  };
  Select(record(60'000).position(), record(60'002).position());
  const QString selected = widget_.textCursor().selectedText();
  widget_.verticalScrollBar()->setValue(record(60'000).firstLineNumber());
  const QString visible = widget_.cursorForPosition({5, 5}).block().text();
  const QRect place = widget_.cursorRect();
  for (int i = 0; i < 30'000; ++i) view_.AppendRecords("new\n");
  Settle();
  EXPECT_EQ(widget_.document()->blockCount(), kRecords + 1);
  EXPECT_EQ(widget_.textCursor().selectedText(), selected);
  EXPECT_EQ(widget_.cursorForPosition({5, 5}).block().text(), visible);
  EXPECT_EQ(widget_.cursorRect(), place);
}

TEST_F(TextView, TrimsTheStartOfAnOverlongLine) {
  view_.Append("started\n");
  const std::string line(10'000, 'x');
  for (int i = 0; i < 2'000; ++i) {
    view_.AppendRecords(line + "\t");
    if (i % 100 == 0) QCoreApplication::processEvents();
  }
  view_.AppendRecords("last");
  Settle();
  const std::string shown = view_.ShownText();
  EXPECT_LE(shown.size(), std::size_t{RecordView::kMostText});
  EXPECT_GT(shown.size(), std::size_t{RecordView::kMostText} - 20'000);
  EXPECT_TRUE(shown.starts_with("started\nxxx"));
  EXPECT_TRUE(shown.ends_with("\tlast"));
}

TEST_F(TextView, RecordLimitIsUnchangedAfterClearing) {
  for (int round = 0; round < 2; ++round) {
    view_.Append("started\n");
    for (int i = 0; i < kRecords; ++i) view_.AppendRecords("x\n");
    Settle();
    EXPECT_EQ(view_.ShownText().size(), 8U + 2 * kRecords);
    view_.AppendRecords("x\nx\n");
    Settle();
    EXPECT_EQ(view_.ShownText().size(), 8U + 2 * kRecords);
    view_.SetText("");
  }
}

TEST_F(TextView, CopiesPartOfASplitLineWithoutALineFeed) {
  std::string text;
  for (int i = 0; i < 1'000; ++i) text += Record(i) + "\t";
  Show(text + "\n");
  ASSERT_GT(widget_.document()->blockCount(), 2);
  const int second = widget_.document()->findBlockByNumber(1).position();
  EXPECT_EQ(widget_.document()->characterAt(second - 2), u'\t');
  Select(second - 5, second + 5);
  widget_.copy();
  EXPECT_EQ(Clipboard(), text.substr(static_cast<std::size_t>(second - 5), 9));
}

}  // namespace
}  // namespace quillet::window_tests
