#include "platform/linux/RemoteDesktop.h"

#include <fcntl.h>
#include <poll.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr char kPortal[] = "org.freedesktop.portal.Desktop";
constexpr char kPortalPath[] = "/org/freedesktop/portal/desktop";
constexpr char kRemoteDesktop[] = "org.freedesktop.portal.RemoteDesktop";

// Name of the desktop file, without its suffix. The portal shows the name and icon in that file to
// the user.
constexpr char kApplication[] = "org.quillet.Quillet";

constexpr std::uint32_t kKeyboard = 1;      // device type
constexpr std::uint32_t kUntilRevoked = 2;  // persist mode: until the user revokes the permission
constexpr std::uint32_t kFirstWithTokens = 2;  // first portal version with restore tokens and EIS
constexpr std::uint32_t kSuccess = 0;          // response codes
constexpr std::uint32_t kCancelled = 1;

constexpr int kStopCheck = 100;  // milliseconds between checks of isStopping_
constexpr std::chrono::microseconds kKeyLimit = 3s;
constexpr auto kPortalPause = 100ms;  // between searches for a missing portal

struct Unref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Message = std::unique_ptr<sd_bus_message, Unref>;
using Slot = std::unique_ptr<sd_bus_slot, Unref>;

Message MakeCall(sd_bus* bus, const char* interface, const char* method) {
  sd_bus_message* made = nullptr;
  sd_bus_message_new_method_call(bus, &made, kPortal, kPortalPath, interface, method);
  return Message(made);
}

// A limit of 0 means sd-bus's default (25 s).
Message Send(sd_bus* bus, const Message& call, std::chrono::microseconds limit = {}) {
  sd_bus_message* reply = nullptr;
  const auto microseconds = static_cast<std::uint64_t>(limit.count());
  if (call == nullptr || sd_bus_call(bus, call.get(), microseconds, nullptr, &reply) < 0) {
    return nullptr;
  }
  return Message(reply);
}

}  // namespace

RemoteDesktop::RemoteDesktop(Clock& clock, std::function<bool()> isStopping)
    : clock_(clock), isStopping_(std::move(isStopping)) {}

RemoteDesktop::~RemoteDesktop() {
  // The portal closes the session when the connection ends.
  sd_bus_flush_close_unref(bus_);
}

bool RemoteDesktop::Connect(std::chrono::seconds patience) {
  return Open() && AwaitPortal(patience);
}

RemoteDesktop::Answer RemoteDesktop::Start(std::string& token) {
  version_ = Property("version").value_or(1);
  // The portal takes the program's name from its desktop file. Portals before 1.20 do not have this
  // call and derive the name from the program's control group.
  if (const auto call = MakeCall(bus_, "org.freedesktop.host.portal.Registry", "Register")) {
    sd_bus_message_append(call.get(), "sa{sv}", kApplication, 0);
    Send(bus_, call);
  }
  if (!CreateSession() || !SelectKeyboard(token)) return Answer::kFailed;
  if (!AskUser()) return response_ == kCancelled ? Answer::kDenied : Answer::kFailed;
  token = restoreToken_;
  return Answer::kGranted;
}

bool RemoteDesktop::Open() {
  if (sd_bus_open_user(&bus_) < 0) return false;
  return sd_bus_match_signal(
             bus_, nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
             "NameOwnerChanged",
             [](sd_bus_message* change, void* self, sd_bus_error*) {
               const char *name = nullptr, *before = nullptr, *after = nullptr;
               if (sd_bus_message_read(change, "sss", &name, &before, &after) >= 0 &&
                   std::strcmp(name, kPortal) == 0 && *before != '\0') {
                 static_cast<RemoteDesktop*>(self)->hasEnded_ = true;
               }
               return 0;
             },
             this) >= 0;
}

// At login, the portal may start later than this program. A portal that is running may not know yet
// which devices the desktop offers.
bool RemoteDesktop::AwaitPortal(std::chrono::seconds patience) {
  const auto end = steady_clock::now() + patience;
  while (!isStopping_()) {
    if (Property("AvailableDeviceTypes").value_or(0) & kKeyboard) {
      hasEnded_ = false;
      return true;
    }
    if (steady_clock::now() >= end) return false;
    Process(-1, -1, kStopCheck);
    clock_.Sleep(kPortalPause);
  }
  return false;
}

std::optional<std::uint32_t> RemoteDesktop::Property(const char* name) {
  std::uint32_t value = 0;
  if (sd_bus_get_property_trivial(bus_, kPortal, kPortalPath, kRemoteDesktop, name, nullptr, 'u',
                                  &value) < 0) {
    return std::nullopt;
  }
  return value;
}

bool RemoteDesktop::CreateSession() {
  const bool isMade = Request("CreateSession", [](sd_bus_message* call) {
    sd_bus_message_append(call, "{sv}", "session_handle_token", "s", "quillet");
  });
  if (!isMade || sessionHandle_.empty()) return false;
  session_ = sessionHandle_;
  return sd_bus_match_signal(
             bus_, nullptr, kPortal, session_.c_str(), "org.freedesktop.portal.Session", "Closed",
             [](sd_bus_message*, void* self, sd_bus_error*) {
               static_cast<RemoteDesktop*>(self)->hasEnded_ = true;
               return 0;
             },
             this) >= 0;
}

bool RemoteDesktop::SelectKeyboard(const std::string& token) {
  return Request("SelectDevices", [&](sd_bus_message* call) {
    sd_bus_message_append(call, "{sv}", "types", "u", kKeyboard);
    if (version_ < kFirstWithTokens) return;
    sd_bus_message_append(call, "{sv}", "persist_mode", "u", kUntilRevoked);
    if (!token.empty()) {
      sd_bus_message_append(call, "{sv}", "restore_token", "s", token.c_str());
    }
  });
}

bool RemoteDesktop::AskUser() {
  return Request("Start", [](sd_bus_message*) {});
}

// Calls a method and waits for the response: a signal that a request object emits. The path of the
// request object contains the name of the connection and a token (XDG Desktop Portal,
// org.freedesktop.portal.Request).
bool RemoteDesktop::Request(const char* method, const Append& append) {
  response_.reset();
  const char* name = nullptr;
  if (sd_bus_get_unique_name(bus_, &name) < 0) return false;
  std::string sender = name + 1;  // without the colon
  std::replace(sender.begin(), sender.end(), '.', '_');
  const std::string token = "quillet" + std::to_string(++requests_);
  const std::string path = std::string(kPortalPath) + "/request/" + sender + "/" + token;

  sd_bus_slot* match = nullptr;
  if (sd_bus_match_signal(
          bus_, &match, kPortal, path.c_str(), "org.freedesktop.portal.Request", "Response",
          [](sd_bus_message* response, void* self, sd_bus_error*) {
            static_cast<RemoteDesktop*>(self)->ReadResponse(response);
            return 0;
          },
          this) < 0) {
    return false;
  }
  const Slot slot(match);

  const Message call = MakeCall(bus_, kRemoteDesktop, method);
  if (!session_.empty()) sd_bus_message_append(call.get(), "o", session_.c_str());
  // The empty string means that there is no parent window.
  if (std::strcmp(method, "Start") == 0) sd_bus_message_append(call.get(), "s", "");
  sd_bus_message_open_container(call.get(), 'a', "{sv}");
  sd_bus_message_append(call.get(), "{sv}", "handle_token", "s", token.c_str());
  append(call.get());
  sd_bus_message_close_container(call.get());
  if (Send(bus_, call) == nullptr) return false;
  while (!response_ && !hasEnded_ && !isStopping_()) {
    if (!Process(-1, -1, kStopCheck)) return false;
  }
  return response_ == kSuccess && !hasEnded_;
}

void RemoteDesktop::ReadResponse(sd_bus_message* response) {
  std::uint32_t code = 0;
  if (sd_bus_message_read(response, "u", &code) < 0) return;
  sessionHandle_.clear();
  restoreToken_.clear();
  sd_bus_message_enter_container(response, 'a', "{sv}");
  while (sd_bus_message_enter_container(response, 'e', "sv") > 0) {
    const char* key = nullptr;
    const char* type = nullptr;
    sd_bus_message_read(response, "s", &key);
    sd_bus_message_peek_type(response, nullptr, &type);
    const char* value = nullptr;
    if (type != nullptr && (std::strcmp(type, "s") == 0 || std::strcmp(type, "o") == 0)) {
      sd_bus_message_read(response, "v", type, &value);
      if (std::strcmp(key, "session_handle") == 0) sessionHandle_ = value;
      if (std::strcmp(key, "restore_token") == 0) restoreToken_ = value;
    } else {
      sd_bus_message_skip(response, "v");
    }
    sd_bus_message_exit_container(response);
  }
  response_ = code;
}

UniqueFd RemoteDesktop::ConnectToEis() {
  const Message call = MakeCall(bus_, kRemoteDesktop, "ConnectToEIS");
  sd_bus_message_append(call.get(), "oa{sv}", session_.c_str(), 0);
  const Message reply = Send(bus_, call);
  int descriptor = -1;
  if (reply == nullptr || sd_bus_message_read(reply.get(), "h", &descriptor) < 0) return {};
  // The reply closes its own descriptor when it is destroyed, so the caller receives a copy.
  return UniqueFd(fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
}

bool RemoteDesktop::PressKeysym(std::uint32_t keysym, bool down) {
  const Message call = MakeCall(bus_, kRemoteDesktop, "NotifyKeyboardKeysym");
  sd_bus_message_append(call.get(), "oa{sv}iu", session_.c_str(), 0,
                        static_cast<std::int32_t>(keysym), std::uint32_t{down});
  return Send(bus_, call, kKeyLimit) != nullptr;
}

void RemoteDesktop::Wait(int first, int second) {
  if (!Process(first, second, -1)) hasEnded_ = true;
}

// Handles all pending events. If there are none, waits until an event arrives, a descriptor is
// readable, or the time-out expires.
bool RemoteDesktop::Process(int first, int second, int milliseconds) {
  for (;;) {
    const int processed = sd_bus_process(bus_, nullptr);
    if (processed < 0) return false;
    if (processed == 0) break;
    milliseconds = 0;
  }
  pollfd polls[] = {{sd_bus_get_fd(bus_), static_cast<short>(sd_bus_get_events(bus_)), 0},
                    {first, POLLIN, 0},
                    {second, POLLIN, 0}};
  poll(polls, std::size(polls), milliseconds);
  return true;
}

}  // namespace quillet::platform::linux_desktop
