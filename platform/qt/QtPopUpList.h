#pragma once

#include <QComboBox>
#include <utility>

#include "platform/Controls.h"

namespace quillet::platform::qt {

/// A PopUpList that uses a combo box. The details are shown only if the combo box is a ListBox.
/// Main thread only.
class QtPopUpList final : public PopUpList {
 public:
  /// @param box  an empty combo box that is not editable; must outlive this object
  explicit QtPopUpList(QComboBox& box);

  void AddItem(std::string_view title, std::string_view detail) override;
  void RemoveItem(std::int32_t position) override;
  void SelectItem(std::int32_t position) override;
  std::int32_t NumberOfItems() const override { return box_.count(); }
  std::string ItemTitle(std::int32_t position) const override {
    return Has(position) ? box_.itemText(position).toStdString() : std::string();
  }
  std::int32_t SelectedItem() const override { return box_.currentIndex(); }
  void OnSelection(std::function<void(std::int32_t position)> action) override {
    action_ = std::move(action);
  }

 private:
  bool Has(std::int32_t position) const { return position >= 0 && position < box_.count(); }
  void Report() const;

  QComboBox& box_;
  std::function<void(std::int32_t)> action_;
};

}  // namespace quillet::platform::qt
