#include "tests/platform/FakePortal.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "tests/support/WaitFor.h"

namespace quillet::test {
namespace {

constexpr char kPath[] = "/org/freedesktop/portal/desktop";
constexpr char kService[] = "org.freedesktop.portal.Desktop";

// Reads a dictionary whose values are strings (D-Bus type s) and unsigned integers (u).
FakePortal::Options ReadOptions(sd_bus_message* call) {
  FakePortal::Options options;
  sd_bus_message_enter_container(call, 'a', "{sv}");
  while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
    const char* key = nullptr;
    const char* type = nullptr;
    sd_bus_message_read(call, "s", &key);
    sd_bus_message_peek_type(call, nullptr, &type);
    if (*type == 's') {
      const char* value = nullptr;
      sd_bus_message_read(call, "v", "s", &value);
      options[key] = value;
    } else {
      std::uint32_t value = 0;
      sd_bus_message_read(call, "v", "u", &value);
      options[key] = std::to_string(value);
    }
    sd_bus_message_exit_container(call);
  }
  return options;
}

}  // namespace

FakePortal::FakePortal() {
  daemon_.emplace([this] {
    return Execute({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                    "--address=" + address_});
  });
  const auto accepts = [] {
    sd_bus* bus = nullptr;
    const char* name = nullptr;
    const bool isConnected = sd_bus_open_user(&bus) >= 0 && sd_bus_get_unique_name(bus, &name) >= 0;
    sd_bus_close_unref(bus);
    return isConnected;
  };
  if (!WaitFor(accepts)) throw std::runtime_error("dbus-daemon");
}

FakePortal::~FakePortal() {
  End();
}

void FakePortal::Start() {
  isEnding_ = false;
  const auto handle = [](sd_bus_message* call, void* self, sd_bus_error*) {
    return static_cast<FakePortal*>(self)->Handle(call);
  };
  if (sd_bus_open_user(&bus_) < 0 || sd_bus_add_object(bus_, nullptr, kPath, handle, this) < 0 ||
      sd_bus_request_name(bus_, kService, 0) < 0) {
    throw std::runtime_error("sd-bus");
  }
  thread_ = std::thread([this] { Run(); });
}

void FakePortal::End() {
  isEnding_ = true;
  if (thread_.joinable()) thread_.join();
  bus_ = sd_bus_flush_close_unref(bus_);
}

void FakePortal::Run() {
  constexpr std::uint64_t kMicroseconds = 5000;
  while (!isEnding_) {
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
    if (closes_.exchange(false)) {
      sd_bus_emit_signal(bus_, session_.c_str(), "org.freedesktop.portal.Session", "Closed",
                         "a{sv}", 0);
    }
    sd_bus_wait(bus_, kMicroseconds);
  }
}

int FakePortal::Handle(sd_bus_message* call) {
  const std::string method = sd_bus_message_get_member(call);
  if (method == "Get") {
    const char *interface = nullptr, *name = nullptr;
    sd_bus_message_read(call, "ss", &interface, &name);
    return sd_bus_reply_method_return(call, "v", "u",
                                      std::strcmp(name, "version") == 0 ? version.load() : 1U);
  }
  if (method == "NotifyKeyboardKeysym") {
    std::int32_t keysym = 0;
    std::uint32_t state = 0;
    sd_bus_message_skip(call, "oa{sv}");
    sd_bus_message_read(call, "iu", &keysym, &state);
    if (onPress && state != 0) onPress(keysym);
    if (ignoresPresses && state != 0) return 1;
    if (keysym == refusedKeysym) {
      return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "refused");
    }
    char text[32];
    std::snprintf(text, sizeof text, "%c%x ", state != 0 ? '+' : '-',
                  static_cast<unsigned>(keysym));
    const std::lock_guard lock(mutex_);
    keysyms_ += text;
    return sd_bus_reply_method_return(call, nullptr);
  }
  if (method != "CreateSession" && method != "SelectDevices" && method != "Start") return 0;
  if (method != "CreateSession") sd_bus_message_skip(call, "o");
  if (method == "Start") sd_bus_message_skip(call, "s");
  Respond(call, method, ReadOptions(call));
  return 1;
}

void FakePortal::Respond(sd_bus_message* call, const std::string& method, const Options& options) {
  std::string sender = sd_bus_message_get_sender(call) + 1;
  std::replace(sender.begin(), sender.end(), '.', '_');
  const std::string request =
      std::string(kPath) + "/request/" + sender + "/" + options.at("handle_token");
  sd_bus_reply_method_return(call, "o", request.c_str());
  const bool isQuestion = method == "Start";
  {
    const std::lock_guard lock(mutex_);
    if (method == "SelectDevices") selections_.push_back(options);
    questions_ += isQuestion;
  }
  if (isQuestion && user == User::kDoesNotAnswer) return;
  const std::uint32_t code = isQuestion && user == User::kDenies ? 1 : 0;
  session_ = std::string(kPath) + "/session/" + sender + "/quillet";
  const std::string token = "token " + std::to_string(questions_);
  sd_bus_emit_signal(bus_, request.c_str(), "org.freedesktop.portal.Request", "Response", "ua{sv}",
                     code, 3, "session_handle", "s", session_.c_str(), "devices", "u", 1U,
                     "restore_token", "s", token.c_str());
}

std::vector<FakePortal::Options> FakePortal::selections() const {
  const std::lock_guard lock(mutex_);
  return selections_;
}

int FakePortal::questions() const {
  const std::lock_guard lock(mutex_);
  return questions_;
}

std::string FakePortal::keysyms() const {
  const std::lock_guard lock(mutex_);
  return keysyms_;
}

}  // namespace quillet::test
