#include "platform/qt/QtPopUpList.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QSignalBlocker>
#include <utility>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {

QtPopUpList::QtPopUpList(QComboBox& box) : box_(box) {
  QObject::connect(&box_, &QComboBox::currentIndexChanged, &box_, [this] { Report(); });
}

void QtPopUpList::AddItem(std::string_view title) {
  box_.addItem(ToQString(title));
}

void QtPopUpList::RemoveItem(std::int32_t position) {
  if (!Has(position)) return;
  const std::int32_t selected = SelectedItem();
  {
    // The box reports a removal by the position alone, and so not that another item has taken the
    // selected one's place.
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
  // The box reports a repeated -1.
  if (wanted != SelectedItem()) box_.setCurrentIndex(wanted);
}

std::int32_t QtPopUpList::NumberOfItems() const {
  return box_.count();
}

std::string QtPopUpList::ItemTitle(std::int32_t position) const {
  return Has(position) ? box_.itemText(position).toStdString() : std::string();
}

std::int32_t QtPopUpList::SelectedItem() const {
  return box_.currentIndex();
}

void QtPopUpList::OnSelection(std::function<void(std::int32_t position)> action) {
  action_ = std::move(action);
}

bool QtPopUpList::Has(std::int32_t position) const {
  return position >= 0 && position < box_.count();
}

void QtPopUpList::Report() const {
  // The closed list's own selection is what assistive technology tells as the chosen item.
  box_.view()->setCurrentIndex(box_.model()->index(SelectedItem(), box_.modelColumn()));
  if (action_) action_(SelectedItem());
}

}  // namespace quillet::platform::qt
