#include "platform/linux/EisKeyboard.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <xkbcommon/xkbcommon.h>

#include <utility>

#include "platform/linux/SessionLayout.h"

// More opaque types of libei. struct Libei declares its functions.
struct ei_keymap;
struct ei_ping;
struct ei_seat;

namespace quillet::platform::linux_desktop {
namespace {

// Values from libei.h of libei 1.0.
enum EiEventType {
  kDisconnected = 2,
  kSeatAdded = 3,
  kDeviceAdded = 5,
  kDeviceRemoved = 6,
  kDevicePaused = 7,
  kDeviceResumed = 8,
  kModifiersChanged = 9,
  kPong = 90,
};
constexpr int kKeyboardCapability = 1 << 2;

}  // namespace

// Functions loaded from libei, named without the prefix "ei_".
struct Libei {
  void* const handle = dlopen("libei.so.1", RTLD_NOW | RTLD_LOCAL);
  bool isComplete = handle != nullptr;

  template <class Signature>
  struct Function {
    Function(Libei& libei, const char* name, bool isRequired = true)
        : call(libei.handle == nullptr ? nullptr
                                       : reinterpret_cast<Signature*>(dlsym(libei.handle, name))) {
      libei.isComplete = libei.isComplete && (call != nullptr || !isRequired);
    }
    template <class... Arguments>
    auto operator()(Arguments... arguments) const {
      return call(arguments...);
    }
    Signature* const call;
  };

  // NOLINTBEGIN(readability-identifier-naming): named after the functions of libei
  Function<ei*(void*)> new_sender{*this, "ei_new_sender"};
  Function<ei*(ei*)> unref{*this, "ei_unref"};
  Function<void(ei*, const char*)> configure_name{*this, "ei_configure_name"};
  Function<int(ei*, int)> setup_backend_fd{*this, "ei_setup_backend_fd"};
  Function<int(ei*)> get_fd{*this, "ei_get_fd"};
  Function<void(ei*)> dispatch{*this, "ei_dispatch"};
  Function<std::uint64_t(ei*)> now{*this, "ei_now"};
  Function<ei_event*(ei*)> get_event{*this, "ei_get_event"};
  Function<ei_event*(ei_event*)> event_unref{*this, "ei_event_unref"};
  Function<int(ei_event*)> event_get_type{*this, "ei_event_get_type"};
  Function<ei_seat*(ei_event*)> event_get_seat{*this, "ei_event_get_seat"};
  Function<ei_device*(ei_event*)> event_get_device{*this, "ei_event_get_device"};
  Function<std::uint32_t(ei_event*)> event_keyboard_get_xkb_mods_locked{
      *this, "ei_event_keyboard_get_xkb_mods_locked"};
  Function<void(ei_seat*, ...)> seat_bind_capabilities{*this, "ei_seat_bind_capabilities"};
  Function<ei_device*(ei_device*)> device_ref{*this, "ei_device_ref"};
  Function<ei_device*(ei_device*)> device_unref{*this, "ei_device_unref"};
  Function<bool(ei_device*, int)> device_has_capability{*this, "ei_device_has_capability"};
  Function<void(ei_device*, std::uint32_t)> device_start_emulating{*this,
                                                                   "ei_device_start_emulating"};
  Function<ei_keymap*(ei_device*)> device_keyboard_get_keymap{*this,
                                                              "ei_device_keyboard_get_keymap"};
  Function<void(ei_device*, std::uint32_t, bool)> device_keyboard_key{*this,
                                                                      "ei_device_keyboard_key"};
  Function<void(ei_device*, std::uint64_t)> device_frame{*this, "ei_device_frame"};
  Function<int(ei_keymap*)> keymap_get_fd{*this, "ei_keymap_get_fd"};
  Function<std::size_t(ei_keymap*)> keymap_get_size{*this, "ei_keymap_get_size"};
  // Available since libei 1.4.
  Function<ei_ping*(ei*)> new_ping{*this, "ei_new_ping", false};
  Function<void(ei_ping*)> ping{*this, "ei_ping", false};
  Function<ei_ping*(ei_ping*)> ping_unref{*this, "ei_ping_unref", false};
  // NOLINTEND(readability-identifier-naming)
};

namespace {

const Libei& Library() {
  static const Libei library;
  return library;
}

}  // namespace

bool EisKeyboard::HasLibrary() {
  return Library().isComplete;
}

EisKeyboard::EisKeyboard(UniqueFd connection) : lib_(Library()), ei_(lib_.new_sender(nullptr)) {
  lib_.configure_name(ei_, "Quillet");
  // Passes a duplicate, because libei closes the descriptor.
  hasEnded_ = lib_.setup_backend_fd(ei_, fcntl(connection.Get(), F_DUPFD_CLOEXEC, 3)) != 0;
}

EisKeyboard::~EisKeyboard() {
  Forget();
  lib_.unref(ei_);
}

int EisKeyboard::descriptor() const {
  return lib_.get_fd(ei_);
}

void EisKeyboard::Dispatch() {
  lib_.dispatch(ei_);
  while (ei_event* const event = lib_.get_event(ei_)) {
    Handle(event);
    lib_.event_unref(event);
  }
}

std::uint32_t EisKeyboard::Press(std::uint32_t code, bool down) {
  constexpr std::uint64_t kMicroseconds = 1000;
  const std::uint64_t now = lib_.now(ei_);
  lib_.device_keyboard_key(device_, code, down);
  lib_.device_frame(device_, now);
  return static_cast<std::uint32_t>(now / kMicroseconds);
}

bool EisKeyboard::AwaitKeys(std::chrono::milliseconds limit) {
  if (lib_.new_ping.call == nullptr) return false;
  ei_ping* const ping = lib_.new_ping(ei_);
  lib_.ping(ping);
  lib_.ping_unref(ping);
  ++pings_;
  const auto end = std::chrono::steady_clock::now() + limit;
  while (pings_ > 0 && !hasEnded_ && std::chrono::steady_clock::now() < end) {
    pollfd poll{descriptor(), POLLIN, 0};
    ::poll(&poll, 1, static_cast<int>(limit.count()));
    Dispatch();
  }
  return pings_ == 0;
}

void EisKeyboard::Handle(ei_event* event) {
  ei_device* const device = lib_.event_get_device(event);
  switch (lib_.event_get_type(event)) {
    case kDisconnected:
      Forget();
      hasEnded_ = true;
      break;
    case kSeatAdded:
      lib_.seat_bind_capabilities.call(lib_.event_get_seat(event), kKeyboardCapability, nullptr);
      break;
    case kDeviceAdded:
      if (lib_.device_has_capability(device, kKeyboardCapability)) Take(device);
      break;
    case kDeviceRemoved:
      if (device == device_) Forget();
      break;
    case kDevicePaused:
      if (device == device_) isReady_ = false;
      break;
    case kDeviceResumed:
      if (device != device_ || device == nullptr) break;
      lib_.device_start_emulating(device_, ++sequence_);
      isReady_ = keymap_ != nullptr;
      break;
    case kModifiersChanged:
      lockedModifiers_ = lib_.event_keyboard_get_xkb_mods_locked(event);
      break;
    case kPong:
      --pings_;
      break;
    default:
      break;
  }
}

void EisKeyboard::Take(ei_device* device) {
  Forget();
  device_ = lib_.device_ref(device);
  ++devices_;
  if (ei_keymap* const text = lib_.device_keyboard_get_keymap(device)) {
    xkb_keymap* const read = ReadKeymap(lib_.keymap_get_fd(text), lib_.keymap_get_size(text));
    if (read == nullptr) return;
    groups_ = xkb_keymap_num_layouts(read);
    keymap_ = std::make_unique<KeymapSearch>(read, kHighestRealCode);
    xkb_keymap_unref(read);
  }
}

void EisKeyboard::Forget() {
  isReady_ = false;
  keymap_.reset();
  if (ei_device* const device = std::exchange(device_, nullptr)) lib_.device_unref(device);
}

}  // namespace quillet::platform::linux_desktop
