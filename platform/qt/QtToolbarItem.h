#pragma once

#include <QIcon>
#include <QString>
#include <functional>
#include <string_view>
#include <vector>

#include "platform/Controls.h"

class QAction;

namespace quillet::platform::qt {

/// What an item looks like while it bears a label.
struct ToolbarFace {
  QString label;        ///< the label that this face belongs to
  QIcon icon;           ///< drawn with the label
  QString explanation;  ///< a few words for the tool tip, without the keys
};

/// An action, shown as a toolbar button and perhaps in a menu, as the program's ToolbarItem. Main
/// thread only.
class QtToolbarItem final : public ToolbarItem {
 public:
  /// @param action  the action, its shortcuts already set; it outlives this object
  /// @param faces   the item shows the first one until it is given a label. A label without a
  ///                face keeps the icon and explains itself.
  QtToolbarItem(QAction& action, std::vector<ToolbarFace> faces);

  /// Changes the visible text and, with it, the name that assistive technology finds.
  void SetLabel(std::string_view label) override;

  /// Called for the button, the menu and the keys alike.
  void OnPress(std::function<void()> action) override;

  /// The labels of all faces, so that room can be kept for the longest.
  std::vector<QString> Labels() const;

 private:
  void Explain(const QString& explanation);

  QAction& action_;
  const std::vector<ToolbarFace> faces_;
  std::function<void()> onPress_;
};

}  // namespace quillet::platform::qt
