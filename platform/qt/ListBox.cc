#include "platform/qt/ListBox.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>

namespace quillet::platform::qt {
namespace {

// Replaces Qt's accessible interface for combo boxes. Only the name and the value differ.
class NamedList final : public QAccessibleWidget {
 public:
  explicit NamedList(QComboBox* box) : QAccessibleWidget(box, QAccessible::ComboBox), box_(box) {}

  QString text(QAccessible::Text kind) const override {
    return kind == QAccessible::Value ? box_->currentText() : QAccessibleWidget::text(kind);
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
}

}  // namespace quillet::platform::qt
