#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace quillet::platform::qt {

/// Decodes UTF-8. Invalid bytes become the replacement character.
inline QString ToQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// Decodes UTF-8 for the label of a button or menu item. Doubles ampersands, because a single one
/// marks a mnemonic.
inline QString ToLabel(std::string_view text) {
  return ToQString(text).replace(QLatin1Char('&'), QLatin1String("&&"));
}

/// Returns a tooltip that wraps `text` and shows markup in it literally. The result is rich text,
/// because Qt wraps only rich text.
inline QString ToToolTip(const QString& text) {
  return QStringLiteral("<qt>%1</qt>").arg(text.toHtmlEscaped());
}

}  // namespace quillet::platform::qt
