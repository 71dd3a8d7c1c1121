#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/Controls.h"

class QComboBox;

namespace quillet::platform::qt {

/// A combo box as the program's PopUpList. Main thread only.
class QtPopUpList final : public PopUpList {
 public:
  /// @param box  an empty box that cannot be edited; it outlives this object
  explicit QtPopUpList(QComboBox& box);

  void AddItem(std::string_view title) override;
  void RemoveItem(std::int32_t position) override;
  void SelectItem(std::int32_t position) override;
  std::int32_t NumberOfItems() const override;
  std::string ItemTitle(std::int32_t position) const override;
  std::int32_t SelectedItem() const override;
  void OnSelection(std::function<void(std::int32_t position)> action) override;

 private:
  bool Has(std::int32_t position) const;
  void Report() const;

  QComboBox& box_;
  std::function<void(std::int32_t)> action_;
};

}  // namespace quillet::platform::qt
