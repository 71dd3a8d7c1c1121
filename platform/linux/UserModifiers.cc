#include "platform/linux/UserModifiers.h"

#include <wayland-client.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "platform/linux/KeyStateProtocol.h"
#include "platform/linux/WaylandConnection.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::chrono::seconds kStateLimit{1};

constexpr unsigned kHeldKeys = 1U << kAltState | 1U << kShiftState | 1U << kControlState |
                               1U << kSuperState | 1U << kAltGrState;
constexpr std::uint32_t kMostKeys = 32;

// Handles the kStateChanged event.
int SetState(const void*, void* proxy, std::uint32_t, const wl_message*, wl_argument* arguments) {
  auto& active = *static_cast<unsigned*>(wl_proxy_get_user_data(static_cast<wl_proxy*>(proxy)));
  const std::uint32_t key = arguments[0].u;
  if (key >= kMostKeys) return 0;
  active = arguments[1].u == 0 ? active & ~(1U << key) : active | 1U << key;
  return 0;
}

}  // namespace

UserModifiers::UserModifiers(std::string leds) : leds_(std::move(leds)) {}
UserModifiers::~UserModifiers() = default;

UserModifiers::State UserModifiers::Read() {
  if (!IsReported()) return {.isCapsLockOn = IsLedOn()};
  return {.isCapsLockOn = (active_ & 1U << kCapsLockState) != 0,
          .isKeyHeld = (active_ & kHeldKeys) != 0};
}

bool UserModifiers::IsReported() {
  if (!std::exchange(isConnected_, true)) {
    compositor_ = std::make_unique<WaylandConnection>(&KeyStateInterface());
    if (compositor_->wanted() == nullptr) {
      compositor_.reset();
    } else {
      wl_proxy_add_dispatcher(compositor_->wanted(), SetState, nullptr, &active_);
    }
  }
  if (compositor_ == nullptr) return false;
  wl_proxy* const keys = compositor_->wanted();
  wl_proxy_marshal_flags(keys, kFetchStates, nullptr, wl_proxy_get_version(keys), 0);
  if (compositor_->Roundtrip(kStateLimit)) return true;
  if (compositor_->IsBroken()) compositor_.reset();
  return false;
}

bool UserModifiers::IsLedOn() const {
  std::error_code error;
  for (std::filesystem::directory_iterator led(leds_, error), end; !error && led != end;
       led.increment(error)) {
    if (!led->path().native().ends_with("::capslock")) continue;
    std::ifstream file(led->path() / "brightness");
    int brightness = 0;
    if (file >> brightness && brightness != 0) return true;
  }
  return false;
}

}  // namespace quillet::platform::linux_desktop
