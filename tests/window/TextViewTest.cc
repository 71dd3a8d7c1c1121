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

  std::string CopyAll() {
    widget_.selectAll();
    widget_.copy();
    return QGuiApplication::clipboard()->text().toStdString();
  }

  /// Selects as a user would, from the anchor to the position.
  void Select(int anchor, int position) {
    QTextCursor cursor(widget_.document());
    cursor.setPosition(anchor);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    widget_.setTextCursor(cursor);
  }

  bool AtEnd() {
    return widget_.verticalScrollBar()->value() == widget_.verticalScrollBar()->maximum();
  }

  RecordView widget_;
  QtTextView view_{widget_};
};

TEST_F(TextView, OnlyALineFeedEndsALine) {
  view_.Append(
      "a\rb\vc\fd\xE2\x80\xA8"
      "e\xE2\x80\xA9"
      "f\x1Dg\xC2\x85"
      "h");
  Settle();
  EXPECT_EQ(widget_.document()->blockCount(), 1);
  view_.Append("\n\n");
  Settle();
  EXPECT_EQ(widget_.document()->blockCount(), 3);
}

// Every character that the widget is known to treat in a way of its own, and some neighbours.
TEST_F(TextView, EveryCharacterComesBackAsItWas) {
  std::string text(
      "\xEF\xBB\xBF"
      "first\r\nsecond\rthird\n\tfourth ");
  text += std::string("NUL\0FF\fVT\vGS\x1D", 13);
  text += "\xC2\xA0\xE2\x80\xA8\xE2\x80\xA9\xEF\xB7\x90\xEF\xB7\x91\xEF\xBF\xBC\xEF\xBB\xBF";
  text += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xA6&amp;<b>  spaces  </b>\n";
  view_.Append(text);
  Settle();
  EXPECT_EQ(view_.ShownText(), text);
  EXPECT_EQ(CopyAll(), text);
}

TEST_F(TextView, BytesThatAreNotUtf8BecomeReplacementCharacters) {
  view_.Append(
      "a\xFF"
      "b\xC3");
  Settle();
  view_.Append("c\n");
  Settle();
  EXPECT_EQ(view_.ShownText(),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD"
            "c\n");
}

TEST_F(TextView, CharactersAreWholeWhereALongTextIsCut) {
  std::string text = "x";
  while (text.size() < 40'000) text += "\xF0\x9F\x93\xA6";
  view_.SetText(text);
  Settle();
  EXPECT_EQ(view_.ShownText(), text);
  for (QTextBlock block = widget_.document()->begin(); block.isValid(); block = block.next()) {
    ASSERT_FALSE(block.text().at(0).isLowSurrogate());
  }
}

TEST_F(TextView, TextIsInsertedAtTheEndWhereverTheUserHasSelected) {
  view_.Append("0123456789\nabcdef");
  Settle();
  Select(2, 5);
  view_.Append("GH\n");
  Settle();
  EXPECT_EQ(view_.ShownText(), "0123456789\nabcdefGH\n");
  EXPECT_EQ(widget_.textCursor().anchor(), 2);
  EXPECT_EQ(widget_.textCursor().position(), 5);
}

TEST_F(TextView, SelectionThatReachesTheEndDoesNotGrow) {
  for (const bool backwards : {false, true}) {
    view_.SetText("0123456789");
    Settle();
    backwards ? Select(10, 4) : Select(4, 10);
    view_.Append("more");
    Settle();
    EXPECT_EQ(widget_.textCursor().selectedText(), "456789");
    EXPECT_EQ(widget_.textCursor().anchor(), backwards ? 10 : 4);
    EXPECT_EQ(view_.ShownText(), "0123456789more");
  }
}

TEST_F(TextView, CursorAtTheEndStaysAtTheEndAndAnyOtherWhereItIs) {
  view_.Append("abc");
  Settle();
  EXPECT_TRUE(widget_.textCursor().atEnd());
  Select(1, 1);
  view_.Append("def");
  Settle();
  EXPECT_EQ(widget_.textCursor().position(), 1);
}

TEST_F(TextView, ClearingInTheMiddleOfALongInsertionDropsTheRest) {
  view_.Append(std::string(20'000'000, 'x'));
  QCoreApplication::processEvents();
  ASSERT_TRUE(view_.HasPending());
  EXPECT_NE(view_.ShownText(), "");
  view_.SetText("new");
  EXPECT_EQ(view_.ShownText(), "") << "the old text goes at once";
  Settle();
  EXPECT_EQ(view_.ShownText(), "new");
}

TEST_F(TextView, ScrollsToTheEndOfLinesThatWrap) {
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

TEST_F(TextView, FaceIsOfFixedWidthAndGrowsWithTheDesktops) {
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
  view_.Append("fixed");
  Settle();
  widget_.setFocus();
  QTest::keyClicks(&widget_, "typed");
  QTest::keyClick(&widget_, Qt::Key_Backspace);
  QTest::keyClick(&widget_, Qt::Key_Delete);
  QTest::keyClick(&widget_, Qt::Key_Return);
  QTest::keyClick(&widget_, Qt::Key_Z, Qt::ControlModifier);
  QGuiApplication::clipboard()->setText("pasted");
  QTest::keyClick(&widget_, Qt::Key_V, Qt::ControlModifier);
  Select(0, 5);
  QTest::keyClick(&widget_, Qt::Key_X, Qt::ControlModifier);
  EXPECT_EQ(view_.ShownText(), "fixed");
}

TEST_F(TextView, UserSelectsAndCopiesWithTheKeyboard) {
  view_.Append("first\nsecond\nthird");
  Settle();
  widget_.setFocus();
  QTest::keyClick(&widget_, Qt::Key_Home, Qt::ControlModifier);
  QTest::keyClick(&widget_, Qt::Key_Right);
  QTest::keyClick(&widget_, Qt::Key_Down, Qt::ShiftModifier);
  QTest::keyClick(&widget_, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "irst\ns");
}

TEST_F(TextView, UserSelectsAndCopiesWithTheMouse) {
  view_.Append("0123456789");
  Settle();
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

TEST_F(TextView, AHundredThousandQueuedAppendsArriveComplete) {
  QtMainQueue queue;
  std::string expected;
  for (int i = 0; i < 100'000; ++i) expected += Record(i) + "\n";
  bool queued = false;
  std::thread producer([&] {
    for (int i = 0; i < 100'000; ++i) {
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
  EXPECT_EQ(widget_.document()->blockCount(), 100'001);
  EXPECT_TRUE(AtEnd());
}

/// The longest block of the document, which is what is laid out as a whole.
int LongestBlock(const QTextDocument& document) {
  int longest = 0;
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    longest = std::max(longest, block.length());
  }
  return longest;
}

TEST_F(TextView, ALongParagraphIsCopiedWithoutLineFeeds) {
  for (const std::string delimiter : {"", "\t"}) {
    view_.SetText("");
    std::string expected;
    for (int i = 0; i < 100'000; ++i) {
      view_.Append(Record(i) + delimiter);
      expected += Record(i) + delimiter;
    }
    view_.Append("\nnext");
    expected += "\nnext";
    Settle();
    EXPECT_TRUE(view_.ShownText() == expected);
    EXPECT_TRUE(CopyAll() == expected);
    EXPECT_LE(LongestBlock(*widget_.document()), 2100);
  }
}

TEST_F(TextView, AParagraphOfSingleCharactersIsContinued) {
  for (int i = 0; i < 5'000; ++i) {
    view_.Append(".");
    if (i % 100 == 0) QCoreApplication::processEvents();
  }
  Settle();
  EXPECT_EQ(view_.ShownText(), std::string(5'000, '.'));
  EXPECT_LE(LongestBlock(*widget_.document()), 2100);
}

TEST_F(TextView, PartOfAContinuedParagraphIsCopiedAsItIs) {
  std::string text;
  for (int i = 0; i < 1'000; ++i) text += Record(i) + "\t";
  view_.Append(text + "\n");
  Settle();
  ASSERT_GT(widget_.document()->blockCount(), 2);
  const QTextBlock second = widget_.document()->findBlockByNumber(1);
  EXPECT_EQ(widget_.document()->characterAt(second.position() - 2), u'\t');
  Select(second.position() - 5, second.position() + 5);
  widget_.copy();
  const std::string copied = QGuiApplication::clipboard()->text().toStdString();
  const auto at = static_cast<std::size_t>(second.position() - 5);
  EXPECT_EQ(copied, text.substr(at, 9));
}

}  // namespace
}  // namespace quillet::window_tests
