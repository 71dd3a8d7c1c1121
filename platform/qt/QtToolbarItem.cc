#include "platform/qt/QtToolbarItem.h"

#include <QAction>
#include <QKeySequence>
#include <algorithm>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {

QtToolbarItem::QtToolbarItem(QAction& action, std::vector<ToolbarFace> faces)
    : action_(action), faces_(std::move(faces)) {
  QObject::connect(&action_, &QAction::triggered, &action_, [this] {
    if (onPress_) onPress_();
  });
  if (!faces_.empty()) SetLabel(faces_.front().label.toStdString());
}

void QtToolbarItem::SetLabel(std::string_view label) {
  action_.setText(ToLabel(label));
  QString toolTip = ToQString(label);
  const auto face = std::ranges::find(faces_, toolTip, &ToolbarFace::label);
  if (face != faces_.end()) {
    action_.setIcon(face->icon);
    toolTip = face->explanation;
  }
  const QString keys =
      QKeySequence::listToString(action_.shortcuts(), QKeySequence::NativeText).replace("; ", ", ");
  if (!keys.isEmpty()) toolTip += QStringLiteral(" (%1)").arg(keys);
  action_.setToolTip(toolTip);
}

std::vector<QString> QtToolbarItem::Labels() const {
  std::vector<QString> labels;
  for (const ToolbarFace& face : faces_) labels.push_back(face.label);
  return labels;
}

}  // namespace quillet::platform::qt
