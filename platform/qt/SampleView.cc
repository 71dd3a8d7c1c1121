#include "platform/qt/SampleView.h"

#include <QEvent>
#include <QSyntaxHighlighter>
#include <QTextBlock>
#include <QTextLayout>

#include "platform/qt/Outline.h"

namespace quillet::platform::qt {
namespace {

constexpr qreal kSampleEnlargement = 2;  // points added to the font size, as the marks are small
constexpr qreal kSampleMargin = 3;       // between the frame and the text, in pixels
constexpr float kTint = 0.7F;            // weight of the highlight colour in the marks' colour

constexpr QStringView kMarks = u"→␣←↓⏎";

}  // namespace

class SampleView::Marks final : public QSyntaxHighlighter {
 public:
  explicit Marks(const SampleView& view) : QSyntaxHighlighter(view.document()), view_(view) {}

 protected:
  void highlightBlock(const QString& text) override {
    const QPalette palette = view_.palette();
    const QColor colour =
        Mix(palette.color(QPalette::Text), palette.color(QPalette::Highlight), kTint);
    for (int i = 0; i < text.size(); ++i) {
      if (kMarks.contains(text[i])) setFormat(i, 1, colour);
    }
  }

 private:
  const SampleView& view_;
};

SampleView::SampleView() : ReadOnlyText(kSampleEnlargement), marks_(new Marks(*this)) {
  document()->setDocumentMargin(kSampleMargin);
  setWordWrapMode(QTextOption::WrapAnywhere);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  connect(this, &QPlainTextEdit::textChanged, this, [this] { FitHeight(); });
  FitHeight();
}

QSize SampleView::sizeHint() const {
  return {20 * fontMetrics().averageCharWidth(), HeightFor(1)};
}

void SampleView::resizeEvent(QResizeEvent* event) {
  ReadOnlyText::resizeEvent(event);
  FitHeight();
}

void SampleView::changeEvent(QEvent* event) {
  ReadOnlyText::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) marks_->rehighlight();
  if (event->type() == QEvent::FontChange) FitHeight();
}

void SampleView::FitHeight() {
  int rows = 0;
  for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
    blockBoundingRect(block);  // lays the block out for the current width
    rows += qMax(1, block.layout()->lineCount());
  }
  setFixedHeight(HeightFor(rows));
}

int SampleView::HeightFor(int rows) const {
  return qRound(rows * QFontMetricsF(font()).lineSpacing() + 2 * kSampleMargin) + 2 * frameWidth();
}

}  // namespace quillet::platform::qt
