#include "platform/linux/SentKeys.h"

#include <algorithm>

namespace quillet::platform::linux_desktop {
namespace {

// Wayland time stamps are 32 bits wide.
std::uint32_t InMilliseconds(std::chrono::nanoseconds time) {
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

}  // namespace

void SentKeys::BeginWrite(std::span<const KeyStroke> strokes, std::chrono::nanoseconds now) {
  const std::lock_guard lock(mutex_);
  for (const KeyStroke& stroke : strokes) expected_.Add(stroke, InMilliseconds(now));
}

void SentKeys::EndWrite(std::chrono::nanoseconds now) {
  const std::lock_guard lock(mutex_);
  expected_.SetLatest(InMilliseconds(now + delay_));
}

bool SentKeys::IsOwnKey(const WindowKey& key) {
  const bool isHeld = std::find(held_.begin(), held_.end(), key.code) != held_.end();
  if (key.repeats) return isHeld;
  const std::lock_guard lock(mutex_);
  if (!expected_.Take({key.code, key.down}, InMilliseconds(key.time))) return false;
  if (key.down && !isHeld) held_.push_back(key.code);
  if (!key.down) std::erase(held_, key.code);
  return true;
}

}  // namespace quillet::platform::linux_desktop
