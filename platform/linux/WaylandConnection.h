#pragma once

#include <chrono>
#include <cstdint>

struct wl_callback;
struct wl_display;
struct wl_interface;
struct wl_proxy;
struct wl_registry;
struct wl_seat;

namespace quillet::platform::linux_desktop {

/// A connection to the compositor named by WAYLAND_DISPLAY, and its first seat. One thread at a
/// time. Every call that waits has a time limit.
class WaylandConnection {
 public:
  /// Connects, and waits up to 10 s for the compositor's list of globals.
  /// @param wanted  an interface to bind, or null; must outlive this object. `wanted->version` is
  ///                the highest version to bind.
  explicit WaylandConnection(const wl_interface* wanted = nullptr);
  ~WaylandConnection();
  WaylandConnection(const WaylandConnection&) = delete;
  WaylandConnection& operator=(const WaylandConnection&) = delete;

  bool IsBroken() const;  ///< true if there is no connection or it has ended

  wl_seat* seat() const { return seat_; }                ///< null if the compositor has no seat
  bool seatHasKeyboard() const { return hasKeyboard_; }  ///< as of the last Roundtrip
  /// Returns the bound interface `wanted`, or null if the compositor does not offer it.
  wl_proxy* wanted() const { return wanted_; }

  /// Sends all requests and waits until the compositor has processed them. If an earlier call has
  /// timed out, waits only for the requests of that call.
  /// @return false if the connection has ended or the limit has expired; see IsBehind
  bool Roundtrip(std::chrono::milliseconds limit);

  /// Returns true if a Roundtrip has timed out and the compositor has not processed the requests of
  /// that call yet.
  bool IsBehind() const { return sync_ != nullptr; }

 private:
  using Deadline = std::chrono::steady_clock::time_point;

  bool Dispatch(Deadline deadline);
  void Bind(wl_registry* registry, std::uint32_t name, const char* interface,
            std::uint32_t version);

  const wl_interface* const wantedInterface_;
  wl_display* const display_;
  wl_registry* registry_ = nullptr;
  wl_seat* seat_ = nullptr;
  wl_proxy* wanted_ = nullptr;
  bool hasKeyboard_ = false;
  wl_callback* sync_ = nullptr;  // pending reply of a Roundtrip
};

}  // namespace quillet::platform::linux_desktop
