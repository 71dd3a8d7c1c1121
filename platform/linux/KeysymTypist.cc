#include "platform/linux/KeysymTypist.h"

#include "platform/linux/RemoteDesktop.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr char kUnknownLayout[] = "the desktop does not report its keyboard layout";
constexpr char kKeyRefused[] = "the remote desktop portal rejected a keystroke";

}  // namespace

KeysymTypist::KeysymTypist(RemoteDesktop& desktop, SessionLayout* layout, Clock& clock,
                           SentKeys& sent)
    : desktop_(desktop), layout_(layout), clock_(clock), sent_(sent), watch_(clock) {}

std::string KeysymTypist::Untypable(std::string_view text) {
  std::string missing;
  if (layout_ == nullptr || !layout_->Update()) return missing;
  const TypingWatch::State now = Read();
  for (const char character : text) {
    if (missing.find(character) == std::string::npos &&
        layout_->KeysymsFor({0, true, KeyFlag::kNone, character}, now.layouts, now.modifiers)
            .empty()) {
      missing += character;
    }
  }
  return missing;
}

// Finds the keysyms of all keys before pressing the first one.
const char* KeysymTypist::Type(std::span<const KeyEvent> presses) {
  if (!watch_.AwaitRelease()) return kModifierHeld;
  if (layout_ == nullptr || !layout_->Update()) return kUnknownLayout;
  if (const char* const change = watch_.BeginPart(Read())) return change;
  const auto& state = watch_.state;
  std::vector<Keysyms> all;
  for (const KeyEvent& press : presses) {
    all.push_back(layout_->KeysymsFor(press, state.layouts, state.modifiers));
    if (all.back().empty()) return ReasonWithoutKey(press);
  }
  for (const Keysyms& keysyms : all) {
    if (!Press(keysyms)) return kKeyRefused;
  }
  watch_.KeysSent();
  const UserLayouts& layouts = state.layouts;
  if (layouts.active && layouts.count > 1 && !layouts.isReportedAtOnce) watch_.AwaitReport();
  layout_->Update();
  return watch_.WhatChanged(Read());
}

TypingWatch::State KeysymTypist::Read() {
  return watch_.Read(layout_->keymaps());
}

// Presses the keysyms in order and releases them in reverse. The portal may still carry out a press
// after the reply has timed out, so every pressed key is released.
bool KeysymTypist::Press(const Keysyms& keysyms) {
  std::vector<KeyStroke> strokes(2 * keysyms.size(), {kAnyKey, true});
  for (std::size_t i = keysyms.size(); i < strokes.size(); ++i) strokes[i].down = false;
  sent_.BeginWrite(strokes, clock_.Now());
  bool isAccepted = true;
  std::size_t pressed = 0;
  while (isAccepted && pressed < keysyms.size()) {
    isAccepted = desktop_.PressKeysym(keysyms[pressed++], true);
  }
  while (pressed > 0) isAccepted = desktop_.PressKeysym(keysyms[--pressed], false) && isAccepted;
  sent_.EndWrite(clock_.Now());
  return isAccepted;
}

}  // namespace quillet::platform::linux_desktop
