#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QLabel>
#include <set>

namespace quillet::window_tests {

/// Finds a widget by its accessible name, or by its text without the "&" that marks the mnemonic.
template <class Widget>
Widget* Find(const QWidget& parent, const QString& name) {
  for (Widget* widget : parent.findChildren<Widget*>()) {
    const QString text = widget->property("text").toString().remove('&');
    if (widget->accessibleName() == name || text == name) return widget;
  }
  ADD_FAILURE() << "no " << name.toStdString();
  return nullptr;
}

/// Returns the mnemonics of all buttons and labels. Fails if two of them are equal.
inline std::set<QString> UniqueMnemonics(const QWidget& window) {
  std::set<QString> letters;
  const auto take = [&letters](const QString& text) {
    const qsizetype mark = text.indexOf('&');
    if (mark < 0) return;
    EXPECT_TRUE(letters.insert(text.mid(mark + 1, 1).toLower()).second) << text.toStdString();
  };
  for (auto* button : window.findChildren<QAbstractButton*>()) take(button->text());
  for (auto* label : window.findChildren<QLabel*>()) take(label->text());
  return letters;
}

}  // namespace quillet::window_tests
