#include "platform/qt/QtPopUpList.h"

#include <QAbstractItemView>
#include <QSignalBlocker>

#include "platform/qt/ListBox.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {

QtPopUpList::QtPopUpList(QComboBox& box) : box_(box) {
  QObject::connect(&box_, &QComboBox::currentIndexChanged, &box_, [this] { Report(); });
}

void QtPopUpList::AddItem(std::string_view title, std::string_view detail) {
  box_.addItem(ToQString(title));
  if (!detail.empty()) box_.setItemData(box_.count() - 1, ToQString(detail), ListBox::kDetailRole);
}

void QtPopUpList::RemoveItem(std::int32_t position) {
  if (!Has(position)) return;
  const std::int32_t selected = SelectedItem();
  {
    // The combo box signals only a change of the selected index, not that a different item moved to
    // that index. Its signals are therefore blocked, and Report is called below.
    const QSignalBlocker blocker(box_);
    box_.removeItem(position);
    if (position == selected) {
      box_.setCurrentIndex(position < box_.count() ? position : box_.count() - 1);
    }
  }
  if (position <= selected) Report();
}

void QtPopUpList::SelectItem(std::int32_t position) {
  const std::int32_t wanted = Has(position) ? position : -1;
  // The combo box emits currentIndexChanged(-1) even if no item was selected before.
  if (wanted != SelectedItem()) box_.setCurrentIndex(wanted);
}

void QtPopUpList::Report() const {
  // Assistive technology reads the selected item from the list view, even while the list is closed.
  box_.view()->setCurrentIndex(box_.model()->index(SelectedItem(), box_.modelColumn()));
  if (action_) action_(SelectedItem());
}

}  // namespace quillet::platform::qt
