#pragma once

#include <QColor>

namespace quillet::platform::qt {

/// A colour between two others.
/// @param first   where `share` is 0
/// @param second  where it is 1
/// @param share   the second one's part, 0 to 1
inline QColor Mix(const QColor& first, const QColor& second, float share) {
  const auto mixed = [share](float one, float other) { return one + (other - one) * share; };
  return QColor::fromRgbF(mixed(first.redF(), second.redF()),
                          mixed(first.greenF(), second.greenF()),
                          mixed(first.blueF(), second.blueF()));
}

}  // namespace quillet::platform::qt
