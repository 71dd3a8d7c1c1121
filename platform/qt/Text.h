#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace quillet::platform::qt {

/// A short text for a control. Bytes that are not UTF-8 become the replacement character.
inline QString ToQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// The same text with its ampersands doubled: in the labels of buttons and menus a single one
/// would mark the next letter as a mnemonic and not be shown.
inline QString ToLabel(std::string_view text) {
  return ToQString(text).replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace quillet::platform::qt
