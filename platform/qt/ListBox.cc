#include "platform/qt/ListBox.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QPainter>
#include <QStyleOptionComboBox>

#include "platform/qt/Outline.h"

namespace quillet::platform::qt {
namespace {

constexpr int kGap = 12;          // between a title and its detail, in pixels
constexpr float kFading = 0.35F;  // share of background colour mixed into a detail's text colour

QString DetailOf(const QModelIndex& index) {
  return index.data(ListBox::kDetailRole).toString();
}

// Draws the items of the open list in the usual way and adds their details at the right edge.
class DetailDelegate final : public QAbstractItemDelegate {
 public:
  DetailDelegate(QAbstractItemDelegate& titles, QObject* parent)
      : QAbstractItemDelegate(parent), titles_(titles) {}

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    titles_.paint(painter, option, index);
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const QPalette& palette = option.palette;
    painter->setPen(
        selected ? palette.color(QPalette::HighlightedText)
                 : Mix(palette.color(QPalette::Text), palette.color(QPalette::Base), kFading));
    painter->setFont(option.font);
    painter->drawText(option.rect.adjusted(0, 0, -kGap, 0), Qt::AlignRight | Qt::AlignVCenter,
                      DetailOf(index));
  }

  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    const QString detail = DetailOf(index);
    const QSize title = titles_.sizeHint(option, index);
    if (detail.isEmpty()) return title;
    return title + QSize(option.fontMetrics.horizontalAdvance(detail) + 2 * kGap, 0);
  }

 private:
  QAbstractItemDelegate& titles_;
};

// Replaces Qt's accessible interface for combo boxes. Reports a different name, value and
// description.
class NamedList final : public QAccessibleWidget {
 public:
  explicit NamedList(QComboBox* box) : QAccessibleWidget(box, QAccessible::ComboBox), box_(box) {}

  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Value) return box_->currentText();
    const QString detail = box_->currentData(ListBox::kDetailRole).toString();
    return kind == QAccessible::Description && !detail.isEmpty() ? detail
                                                                 : QAccessibleWidget::text(kind);
  }

  int childCount() const override { return 1; }
  QAccessibleInterface* child(int index) const override {
    return index == 0 ? QAccessible::queryAccessibleInterface(box_->view()) : nullptr;
  }
  int indexOfChild(const QAccessibleInterface* child) const override {
    return child->object() == box_->view() ? 0 : -1;
  }
  QAccessibleInterface* childAt(int x, int y) const override {
    return rect().contains(x, y) ? child(0) : nullptr;
  }

  QStringList actionNames() const override {
    return QStringList{showMenuAction(), pressAction()} + QAccessibleWidget::actionNames();
  }
  void doAction(const QString& action) override {
    if (action != showMenuAction() && action != pressAction()) {
      return QAccessibleWidget::doAction(action);
    }
    if (box_->view()->isVisible()) {
      box_->hidePopup();
    } else {
      box_->showPopup();
    }
  }
  QStringList keyBindingsForAction(const QString&) const override { return {}; }

 private:
  QComboBox* const box_;
};

QAccessibleInterface* CreateNamedList(const QString& className, QObject* object) {
  if (className != QStringLiteral("QComboBox")) return nullptr;
  auto* box = qobject_cast<QComboBox*>(object);
  return box != nullptr && !box->accessibleName().isEmpty() ? new NamedList(box) : nullptr;
}

}  // namespace

ListBox::ListBox() {
  setFocusPolicy(Qt::StrongFocus);
  QAccessible::installFactory(CreateNamedList);  // Qt installs the same factory only once
  view()->setItemDelegate(new DetailDelegate(*itemDelegate(), this));
}

QSize ListBox::sizeHint() const {
  const QFontMetrics metrics = fontMetrics();
  int titles = minimumContentsLength() * metrics.horizontalAdvance(QLatin1Char('X'));
  int whole = 0;
  for (int i = 0; i < count(); ++i) {
    const int title = metrics.horizontalAdvance(itemText(i));
    const QString detail = itemData(i, kDetailRole).toString();
    titles = qMax(titles, title);
    if (!detail.isEmpty()) whole = qMax(whole, title + kGap + metrics.horizontalAdvance(detail));
  }
  return QComboBox::sizeHint() + QSize(qMax(0, whole - titles), 0);
}

void ListBox::paintEvent(QPaintEvent* event) {
  QComboBox::paintEvent(event);
  const QString detail = currentData(kDetailRole).toString();
  if (detail.isEmpty()) return;
  QStyleOptionComboBox option;
  initStyleOption(&option);
  QRect place =
      style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
  const int title = fontMetrics().horizontalAdvance(currentText()) + kGap;
  place.adjust(title, 0, -2, 0);
  if (place.width() < fontMetrics().horizontalAdvance(QStringLiteral("…/X"))) return;
  QPainter painter(this);
  painter.setPen(
      Mix(palette().color(QPalette::ButtonText), palette().color(QPalette::Button), kFading));
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter,
                   fontMetrics().elidedText(detail, Qt::ElideLeft, place.width()));
}

}  // namespace quillet::platform::qt
