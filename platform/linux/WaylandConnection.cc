#include "platform/linux/WaylandConnection.h"

#include <poll.h>
#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/Retry.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto kLimitForGlobals = 10s;

// Waits for events on the descriptor until the deadline.
bool Await(int descriptor, short events, steady_clock::time_point deadline) {
  pollfd poll{.fd = descriptor, .events = events, .revents = 0};
  const auto wait = [&] {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    return ::poll(&poll, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
  };
  return RetryOnSignal(wait) > 0;
}

}  // namespace

WaylandConnection::WaylandConnection(const wl_interface* wanted)
    : wantedInterface_(wanted), display_(wl_display_connect(nullptr)) {
  if (display_ == nullptr) return;
  static constexpr wl_registry_listener kRegistryListener = {
      .global =
          [](void* self, wl_registry* registry, std::uint32_t name, const char* interface,
             std::uint32_t version) {
            static_cast<WaylandConnection*>(self)->Bind(registry, name, interface, version);
          },
      .global_remove = [](void*, wl_registry*, std::uint32_t) {}};
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &kRegistryListener, this);
  // The first round trip binds the globals. The second receives their first events.
  if (Roundtrip(kLimitForGlobals)) Roundtrip(kLimitForGlobals);
}

WaylandConnection::~WaylandConnection() {
  if (display_ == nullptr) return;
  if (sync_ != nullptr) wl_callback_destroy(sync_);
  if (wanted_ != nullptr) wl_proxy_destroy(wanted_);
  if (seat_ != nullptr) wl_seat_destroy(seat_);
  if (registry_ != nullptr) wl_registry_destroy(registry_);
  wl_display_disconnect(display_);
}

bool WaylandConnection::IsBroken() const {
  return display_ == nullptr || wl_display_get_error(display_) != 0;
}

void WaylandConnection::Bind(wl_registry* registry, std::uint32_t name, const char* interface,
                             std::uint32_t version) {
  static constexpr wl_seat_listener kSeatListener = {
      .capabilities =
          [](void* self, wl_seat*, std::uint32_t capabilities) {
            static_cast<WaylandConnection*>(self)->hasKeyboard_ =
                (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0;
          },
      .name = [](void*, wl_seat*, const char*) {}};
  if (seat_ == nullptr && std::strcmp(interface, wl_seat_interface.name) == 0) {
    seat_ = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
    wl_seat_add_listener(seat_, &kSeatListener, this);
  } else if (wanted_ == nullptr && wantedInterface_ != nullptr &&
             std::strcmp(interface, wantedInterface_->name) == 0) {
    wanted_ = static_cast<wl_proxy*>(
        wl_registry_bind(registry, name, wantedInterface_,
                         std::min(version, static_cast<std::uint32_t>(wantedInterface_->version))));
  }
}

bool WaylandConnection::Roundtrip(std::chrono::milliseconds limit) {
  if (IsBroken()) return false;
  static constexpr wl_callback_listener kListener = {
      .done = [](void* self, wl_callback*, std::uint32_t) {
        wl_callback_destroy(std::exchange(static_cast<WaylandConnection*>(self)->sync_, nullptr));
      }};
  if (sync_ == nullptr) {
    sync_ = wl_display_sync(display_);
    wl_callback_add_listener(sync_, &kListener, this);
  }
  const auto deadline = steady_clock::now() + limit;
  while (sync_ != nullptr && Dispatch(deadline)) {
  }
  return sync_ == nullptr;
}

// Sends the queued requests, then waits for events and handles them.
bool WaylandConnection::Dispatch(Deadline deadline) {
  while (wl_display_prepare_read(display_) != 0) {
    if (wl_display_dispatch_pending(display_) < 0) return false;
  }
  const int descriptor = wl_display_get_fd(display_);
  bool isSent = true;
  while (wl_display_flush(display_) < 0) {
    if (errno == EPIPE) break;  // the read below reports that the connection has ended
    isSent = errno == EAGAIN && Await(descriptor, POLLOUT, deadline);
    if (!isSent) break;
  }
  if (!isSent || !Await(descriptor, POLLIN, deadline)) {
    wl_display_cancel_read(display_);
    return false;
  }
  return wl_display_read_events(display_) == 0 && wl_display_dispatch_pending(display_) >= 0;
}

}  // namespace quillet::platform::linux_desktop
