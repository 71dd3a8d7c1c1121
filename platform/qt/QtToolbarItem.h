#pragma once

#include <QIcon>
#include <QString>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Controls.h"

class QAction;

namespace quillet::platform::qt {

/// A label with its icon and tool tip.
struct ToolbarFace {
  QString label;
  QIcon icon;
  QString explanation;  ///< the tool tip, without the shortcuts
};

/// A ToolbarItem that uses an action, which is also shown in menus. Main thread only.
class QtToolbarItem final : public ToolbarItem {
 public:
  /// @param action  an action with its shortcuts set; it must outlive this object
  /// @param faces   the first one is shown initially
  QtToolbarItem(QAction& action, std::vector<ToolbarFace> faces);

  /// Also changes the accessible name. Shows the icon and tool tip of the face with this label. If
  /// there is no such face, keeps the icon and uses the label as the tool tip.
  void SetLabel(std::string_view label) override;

  /// The button, the menu item and the shortcuts run the action.
  void OnPress(std::function<void()> action) override { onPress_ = std::move(action); }

  QAction& action() const { return action_; }

  /// Returns the labels of all faces.
  std::vector<QString> Labels() const;

 private:
  QAction& action_;
  const std::vector<ToolbarFace> faces_;
  std::function<void()> onPress_;
};

}  // namespace quillet::platform::qt
