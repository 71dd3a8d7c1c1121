#include "platform/qt/QtStatusDisplay.h"

#include <algorithm>

#include "platform/qt/CutLabel.h"
#include "platform/qt/Outline.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

constexpr int kBarWidth = 120;
constexpr int kBarSteps = 1000;
constexpr int kPadding = 8;  // added to the width of buttons and the height of the strip

// Mnemonics of the main window's menus.
const QString kMenuLetters = QStringLiteral("SE");

// Marks the title's first letter that is not in `used` as its mnemonic, and adds the letter to
// `used`.
QString WithMnemonic(std::string_view title, QString& used) {
  QString text = ToLabel(title);
  const auto letter = std::ranges::find_if(text, [&](QChar character) {
    return character.isLetter() && !used.contains(character, Qt::CaseInsensitive);
  });
  if (letter == text.end()) return text;
  used += *letter;
  return text.insert(letter - text.begin(), u'&');
}

}  // namespace

QtStatusDisplay::QtStatusDisplay(QStatusBar& strip, QWidget& nextFocus)
    : nextFocus_(nextFocus), label_(*new CutLabel), bar_(*new QProgressBar) {
  for (QPushButton*& button : buttons_) button = new QPushButton;
  SetUp(strip);
  Show("", std::nullopt, {});
}

void QtStatusDisplay::SetUp(QStatusBar& strip) {
  label_.setContentsMargins(8, 0, 0, 0);
  bar_.setAccessibleName(QStringLiteral("Progress"));
  bar_.setFixedWidth(kBarWidth);
  bar_.setTextVisible(false);
  Outline(bar_);
  strip.setSizeGripEnabled(false);
  strip.setContentsMargins(0, 0, 8, 0);
  strip.addWidget(&label_, 1);
  strip.addPermanentWidget(&bar_);
  int height = qMax(bar_.sizeHint().height(), label_.sizeHint().height());
  for (std::size_t i = 0; i < buttons_.size(); ++i) {
    QPushButton& button = *buttons_[i];
    button.setFocusPolicy(Qt::TabFocus);  // no click focus: typing would press the button
    button.setAutoDefault(true);          // Return presses the button that has focus
    Outline(button);
    // If the title changes while the button is held down, the press has no effect.
    QObject::connect(&button, &QPushButton::pressed, &button,
                     [this, &button] { pressedTitle_ = button.text(); });
    QObject::connect(&button, &QPushButton::clicked, &button, [this, i, &button] {
      if (i >= actions_.size() || pressedTitle_ != button.text()) return;
      std::function<void()>(actions_[i].run)();  // a copy, since the action may replace the buttons
    });
    strip.addPermanentWidget(&button);
    height = qMax(height, button.sizeHint().height());
  }
  label_.setMinimumHeight(height);  // showing buttons must not move the text
  strip.setMinimumHeight(height + kPadding);
}

void QtStatusDisplay::Show(std::string_view text, std::optional<double> fraction,
                           const std::vector<StripAction>& actions) {
  label_.setText(ToQString(text).replace(u'\n', u' '));
  bar_.setVisible(fraction.has_value());
  if (fraction) {
    bar_.setRange(0, *fraction < 0 ? 0 : kBarSteps);
    if (*fraction >= 0) bar_.setValue(static_cast<int>(*fraction * kBarSteps));
  }
  actions_ = actions;
  ShowActions();
}

void QtStatusDisplay::ShowActions() {
  QString used = kMenuLetters;
  for (std::size_t i = 0; i < buttons_.size(); ++i) {
    QPushButton& button = *buttons_[i];
    const bool shown = i < actions_.size();
    const QString title = shown ? WithMnemonic(actions_[i].title, used) : QString();
    if (button.text() != title) {
      if (button.hasFocus()) nextFocus_.setFocus();
      button.setText(title);
      button.setMinimumWidth(0);
      button.setMinimumWidth(button.sizeHint().width() + kPadding);
    }
    button.setVisible(shown);
  }
}

}  // namespace quillet::platform::qt
