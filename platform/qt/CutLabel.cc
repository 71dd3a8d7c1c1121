#include "platform/qt/CutLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

constexpr int kLeastCharacters = 10;  // minimum width of the text in characters

}  // namespace

CutLabel::CutLabel() {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  setMinimumWidth(kLeastCharacters * fontMetrics().averageCharWidth());
}

bool CutLabel::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QLabel::event(event);
  QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(),
                     CutText() == text() ? QString() : ToToolTip(text()), this);
  return true;
}

void CutLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  style()->drawItemText(&painter, contentsRect(), Qt::AlignLeft | Qt::AlignVCenter, palette(),
                        isEnabled(), CutText(), foregroundRole());
}

QString CutLabel::CutText() const {
  return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
}

}  // namespace quillet::platform::qt
