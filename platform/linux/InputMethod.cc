#include "platform/linux/InputMethod.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace quillet::platform::linux_desktop {
namespace {

using std::chrono::steady_clock;

struct FreeBus {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct FreeMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusPointer = std::unique_ptr<sd_bus, FreeBus>;
using MessagePointer = std::unique_ptr<sd_bus_message, FreeMessage>;

std::string VariableOr(const char* name, const std::string& otherwise) {
  const char* const value = std::getenv(name);
  return value == nullptr || *value == '\0' ? otherwise : value;
}

// Returns the names of the files that may contain the address of IBus, as ibus_get_socket_path() of
// libibus does. Older versions of libibus also use DISPLAY in Wayland sessions.
std::vector<std::string> IbusFiles() {
  const std::string file = VariableOr("IBUS_ADDRESS_FILE", "");
  if (!file.empty()) return {file};
  std::string machine;
  std::ifstream("/etc/machine-id") >> machine;
  const std::string begin = VariableOr("XDG_CONFIG_HOME", VariableOr("HOME", "") + "/.config") +
                            "/ibus/bus/" + machine + "-";
  std::vector<std::string> files;
  const std::string wayland = VariableOr("WAYLAND_DISPLAY", "");
  if (!wayland.empty()) files.push_back(begin + "unix-" + wayland);
  const std::string display = VariableOr("DISPLAY", "");
  const std::size_t colon = display.rfind(':');
  if (colon == std::string::npos) return files;
  const std::string host = colon == 0 ? "unix" : display.substr(0, colon);
  const std::size_t dot = display.find('.', colon);
  files.push_back(begin + host + "-" + display.substr(colon + 1, dot - colon - 1));
  return files;
}

std::string IbusAddress() {
  std::string address = VariableOr("IBUS_ADDRESS", "");
  if (!address.empty()) return address;
  constexpr std::string_view kName = "IBUS_ADDRESS=";
  for (const std::string& path : IbusFiles()) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with(kName)) return line.substr(kName.size());
    }
  }
  return {};
}

BusPointer BusAt(const std::string& address) {
  sd_bus* made = nullptr;
  if (address.empty() || sd_bus_new(&made) < 0) return nullptr;
  BusPointer bus(made);
  const bool isStarted = sd_bus_set_address(made, address.c_str()) >= 0 &&
                         sd_bus_set_bus_client(made, 1) >= 0 && sd_bus_start(made) >= 0;
  return isStarted ? std::move(bus) : nullptr;
}

BusPointer SessionBus() {
  sd_bus* bus = nullptr;
  return sd_bus_open_user(&bus) < 0 ? nullptr : BusPointer(bus);
}

// The time-out of sd_bus_call() does not cover the time until the bus accepts the connection. This
// function limits the total time.
MessagePointer ReplyTo(sd_bus* bus, sd_bus_message* call) {
  const auto end = steady_clock::now() + kInputMethodLimit;
  MessagePointer reply;
  const auto keep = [](sd_bus_message* message, void* kept, sd_bus_error*) {
    static_cast<MessagePointer*>(kept)->reset(sd_bus_message_ref(message));
    return 0;
  };
  sd_bus_slot* slot = nullptr;
  sd_bus_message_set_auto_start(call, 0);
  if (sd_bus_call_async(bus, &slot, call, keep, &reply, 0) < 0) return nullptr;
  while (!reply && steady_clock::now() < end) {
    const int done = sd_bus_process(bus, nullptr);
    if (done < 0) break;
    if (done > 0) continue;
    const auto rest =
        std::chrono::duration_cast<std::chrono::microseconds>(end - steady_clock::now());
    sd_bus_wait(bus, static_cast<std::uint64_t>(std::max<std::int64_t>(rest.count(), 0)));
  }
  sd_bus_slot_unref(slot);
  const bool isAnswer = reply && sd_bus_message_is_method_error(reply.get(), nullptr) == 0;
  return isAnswer ? std::move(reply) : nullptr;
}

struct Method {
  const char* service;
  const char* path;
  const char* interface;
  const char* name;
};

MessagePointer NewCall(sd_bus* bus, const Method& method) {
  sd_bus_message* call = nullptr;
  if (bus != nullptr) {
    sd_bus_message_new_method_call(bus, &call, method.service, method.path, method.interface,
                                   method.name);
  }
  return MessagePointer(call);
}

// The GlobalEngine property is a variant that contains a serialized IBusEngineDesc. The third
// member of the IBusEngineDesc is the engine's name.
std::string EngineOfIbus() {
  constexpr char kIbus[] = "org.freedesktop.IBus";
  const BusPointer bus = BusAt(IbusAddress());
  const MessagePointer call = NewCall(
      bus.get(), {kIbus, "/org/freedesktop/IBus", "org.freedesktop.DBus.Properties", "Get"});
  if (!call || sd_bus_message_append(call.get(), "ss", kIbus, "GlobalEngine") < 0) return {};
  const MessagePointer reply = ReplyTo(bus.get(), call.get());
  if (!reply) return {};
  sd_bus_message* const message = reply.get();
  const char* structure = nullptr;
  const char* name = nullptr;
  const bool isRead = sd_bus_message_enter_container(message, 'v', "v") >= 0 &&
                      sd_bus_message_enter_container(message, 'v', nullptr) >= 0 &&
                      sd_bus_message_peek_type(message, nullptr, &structure) > 0 &&
                      sd_bus_message_enter_container(message, 'r', structure) >= 0 &&
                      sd_bus_message_skip(message, "sa{sv}") >= 0 &&
                      sd_bus_message_read(message, "s", &name) > 0;
  return isRead ? name : "";
}

std::string EngineOfFcitx() {
  const BusPointer bus = SessionBus();
  const MessagePointer call = NewCall(
      bus.get(),
      {"org.fcitx.Fcitx5", "/controller", "org.fcitx.Fcitx.Controller1", "CurrentInputMethod"});
  const MessagePointer reply = call ? ReplyTo(bus.get(), call.get()) : nullptr;
  const char* name = nullptr;
  const bool isRead = reply && sd_bus_message_read(reply.get(), "s", &name) > 0;
  return isRead ? name : "";
}

// Removes unprintable characters, because the name appears in a one-line message.
std::string Printable(std::string text) {
  std::erase_if(text, [](char character) { return character < ' ' || character > '~'; });
  return text;
}

}  // namespace

std::string ActiveInputMethod() {
  const std::string ofIbus = Printable(EngineOfIbus());
  if (!ofIbus.empty() && !ofIbus.starts_with("xkb:")) return ofIbus + " (IBus)";
  const std::string ofFcitx = Printable(EngineOfFcitx());
  if (!ofFcitx.empty() && !ofFcitx.starts_with("keyboard-")) return ofFcitx + " (Fcitx)";
  return {};
}

}  // namespace quillet::platform::linux_desktop
