#include "platform/qt/ScrollingColumns.h"

#include <QApplication>
#include <QBoxLayout>
#include <QScrollBar>

namespace quillet::platform::qt {

ScrollingColumns::ScrollingColumns() : columns_(new QBoxLayout(QBoxLayout::LeftToRight)) {
  auto* content = new QWidget;
  rows_ = new QVBoxLayout(content);
  rows_->setContentsMargins(0, 0, 0, 0);
  rows_->addLayout(columns_);
  setWidget(content);
  setWidgetResizable(true);
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::NoFocus);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
    if (now != nullptr && widget()->isAncestorOf(now)) ensureWidgetVisible(now);
  });
  for (QWidget* seeThrough : {viewport(), content}) seeThrough->setAutoFillBackground(false);
}

void ScrollingColumns::AddColumn(QWidget* column) {
  columns_->addWidget(column);
}

void ScrollingColumns::AddBelow(QWidget* row) {
  rows_->addWidget(row);
}

QSize ScrollingColumns::sizeHint() const {
  QSize size = SideBySide() + QSize(0, 2);  // rounding could otherwise cause a scroll bar
  for (int i = 1; i < rows_->count(); ++i) {
    size.rheight() += rows_->spacing() + rows_->itemAt(i)->sizeHint().height();
  }
  return size;
}

QSize ScrollingColumns::minimumSizeHint() const {
  int width = 0;
  for (int i = 0; i < columns_->count(); ++i) {
    width = qMax(width, columns_->itemAt(i)->minimumSize().width());
  }
  for (int i = 1; i < rows_->count(); ++i) {
    width = qMax(width, rows_->itemAt(i)->minimumSize().width());
  }
  return {width + verticalScrollBar()->sizeHint().width(), 4 * fontMetrics().height()};
}

void ScrollingColumns::resizeEvent(QResizeEvent* event) {
  const bool wide = width() >= SideBySide().width();
  columns_->setDirection(wide ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
  QScrollArea::resizeEvent(event);
}

QSize ScrollingColumns::SideBySide() const {
  QSize size(-columns_->spacing(), 0);
  for (int i = 0; i < columns_->count(); ++i) {
    const QSize column = columns_->itemAt(i)->sizeHint();
    size.rwidth() += column.width() + columns_->spacing();
    size.rheight() = qMax(size.height(), column.height());
  }
  return size;
}

}  // namespace quillet::platform::qt
