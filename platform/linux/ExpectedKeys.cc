#include "platform/linux/ExpectedKeys.h"

#include <algorithm>

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::size_t kMostExpected = 4096;
constexpr std::uint32_t kLongestDelay = 60'000;  // in milliseconds; older strokes are forgotten

bool IsAfter(std::uint32_t time, std::uint32_t other) {
  return static_cast<std::int32_t>(time - other) > 0;
}

}  // namespace

void ExpectedKeys::Add(KeyStroke stroke, std::optional<std::uint32_t> earliest) {
  if (expected_.size() == kMostExpected) expected_.pop_front();
  expected_.push_back({stroke, earliest, std::nullopt});
}

void ExpectedKeys::SetLatest(std::uint32_t latest) {
  for (auto last = expected_.rbegin(); last != expected_.rend() && !last->latest; ++last) {
    last->latest = latest;
  }
}

bool ExpectedKeys::Take(KeyStroke stroke, std::uint32_t time) {
  std::erase_if(expected_, [&](const Expected& one) {
    return one.latest && IsAfter(time - kLongestDelay, *one.latest);
  });
  const auto found = std::find_if(expected_.begin(), expected_.end(), [&](const Expected& one) {
    const bool isSame = one.stroke.code == stroke.code || one.stroke.code == kAnyKey;
    return isSame && one.stroke.down == stroke.down &&
           !(one.earliest && IsAfter(*one.earliest, time)) &&
           !(one.latest && IsAfter(time, *one.latest));
  });
  if (found == expected_.end()) return false;
  expected_.erase(found);
  return true;
}

}  // namespace quillet::platform::linux_desktop
