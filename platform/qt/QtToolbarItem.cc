#include "platform/qt/QtToolbarItem.h"

#include <QAction>
#include <QKeySequence>
#include <utility>

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
  const QString wanted = ToQString(label);
  for (const ToolbarFace& face : faces_) {
    if (face.label != wanted) continue;
    action_.setIcon(face.icon);
    return Explain(face.explanation);
  }
  Explain(wanted);
}

void QtToolbarItem::OnPress(std::function<void()> action) {
  onPress_ = std::move(action);
}

std::vector<QString> QtToolbarItem::Labels() const {
  std::vector<QString> labels;
  for (const ToolbarFace& face : faces_) labels.push_back(face.label);
  return labels;
}

void QtToolbarItem::Explain(const QString& explanation) {
  const QString keys =
      QKeySequence::listToString(action_.shortcuts(), QKeySequence::NativeText).replace("; ", ", ");
  action_.setToolTip(keys.isEmpty() ? explanation
                                    : QStringLiteral("%1 (%2)").arg(explanation, keys));
}

}  // namespace quillet::platform::qt
