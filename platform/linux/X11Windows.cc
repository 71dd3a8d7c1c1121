#include "platform/linux/X11Windows.h"

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

template <class T>
using Reply = std::unique_ptr<T, Free>;

// A pager, or another program that acts for the user, may take the focus for a window.
constexpr std::uint32_t kActsForTheUser = 2;

constexpr std::uint32_t kLongestProperty = 16384;  // in units of four bytes

// The version of the X resource extension that tells the processes of clients.
constexpr std::uint8_t kResourceMajor = 1;
constexpr std::uint8_t kResourceMinor = 2;

constexpr auto kPollPause = 2ms;

}  // namespace

class X11Windows::Connection {
 public:
  Connection() {
    int screen = 0;
    xcb_ = xcb_connect(nullptr, &screen);
    if (IsBroken()) return;
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(xcb_));
    while (screen-- > 0 && roots.rem > 1) xcb_screen_next(&roots);
    root_ = roots.data->root;
    clientList_ = Atom("_NET_CLIENT_LIST_STACKING");
    activeWindow_ = Atom("_NET_ACTIVE_WINDOW");
    pid_ = Atom("_NET_WM_PID");
    const auto* resources = xcb_get_extension_data(xcb_, &xcb_res_id);
    if (resources == nullptr || !resources->present) return;
    const Reply<xcb_res_query_version_reply_t> version{xcb_res_query_version_reply(
        xcb_, xcb_res_query_version(xcb_, kResourceMajor, kResourceMinor), nullptr)};
    canAskForPids_ = version && (version->server_major > kResourceMajor ||
                                 version->server_minor >= kResourceMinor);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { xcb_disconnect(xcb_); }

  bool IsBroken() const { return xcb_connection_has_error(xcb_) != 0; }

  std::vector<std::uint32_t> Clients() { return Numbers(root_, clientList_); }
  std::uint32_t Active() { return FirstNumber(root_, activeWindow_); }

  // The server knows the process at the other end of a window's connection, which many windows do
  // not tell of themselves. It knows none of a remote one.
  int Pid(std::uint32_t window) {
    const int known = canAskForPids_ ? PidOfClient(window) : 0;
    return known != 0 ? known : static_cast<int>(FirstNumber(window, pid_));
  }

  std::vector<std::string> Classes(std::uint32_t window) {
    const auto reply = Property(window, XCB_ATOM_WM_CLASS);
    std::vector<std::string> classes;
    if (!reply || reply->format != 8) return classes;
    std::string_view text(static_cast<const char*>(xcb_get_property_value(reply.get())),
                          static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\0'), text.size());
      std::string name(text.substr(0, end));
      for (char& character : name) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
      }
      classes.push_back(std::move(name));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    return classes;
  }

  void AskToActivate(std::uint32_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = activeWindow_;
    message.data.data32[0] = kActsForTheUser;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(xcb_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(xcb_);
  }

 private:
  int PidOfClient(std::uint32_t window) {
    const xcb_res_client_id_spec_t asked{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_res_query_client_ids_reply_t> reply{
        xcb_res_query_client_ids_reply(xcb_, xcb_res_query_client_ids(xcb_, 1, &asked), &error)};
    std::free(error);
    if (!reply) return 0;
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
         xcb_res_client_id_value_next(&ids)) {
      if (xcb_res_client_id_value_value_length(ids.data) >= 1) {
        return static_cast<int>(*xcb_res_client_id_value_value(ids.data));
      }
    }
    return 0;
  }

  xcb_atom_t Atom(std::string_view name) {
    const Reply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
        xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr)};
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  Reply<xcb_get_property_reply_t> Property(std::uint32_t window, xcb_atom_t property) {
    // An error, as of a window that has just gone, is taken with the reply.
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_property_reply_t> reply{xcb_get_property_reply(
        xcb_, xcb_get_property(xcb_, 0, window, property, XCB_ATOM_ANY, 0, kLongestProperty),
        &error)};
    std::free(error);
    return reply;
  }

  std::vector<std::uint32_t> Numbers(std::uint32_t window, xcb_atom_t property) {
    const auto reply = Property(window, property);
    if (!reply || reply->format != 32) return {};
    std::vector<std::uint32_t> numbers(
        static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) / 4);
    std::memcpy(numbers.data(), xcb_get_property_value(reply.get()), numbers.size() * 4);
    return numbers;
  }

  std::uint32_t FirstNumber(std::uint32_t window, xcb_atom_t property) {
    const auto numbers = Numbers(window, property);
    return numbers.empty() ? 0 : numbers[0];
  }

  xcb_connection_t* xcb_ = nullptr;  // never null from the constructor on
  xcb_window_t root_ = XCB_NONE;
  xcb_atom_t clientList_ = XCB_ATOM_NONE;
  xcb_atom_t activeWindow_ = XCB_ATOM_NONE;
  xcb_atom_t pid_ = XCB_ATOM_NONE;
  bool canAskForPids_ = false;
};

X11Windows::X11Windows() : connection_(std::make_unique<Connection>()) {}

X11Windows::~X11Windows() = default;

bool X11Windows::IsConnected() const {
  return !connection_->IsBroken();
}

std::vector<X11Windows::Window> X11Windows::All() {
  std::vector<Window> windows;
  if (!IsConnected()) return windows;
  for (const std::uint32_t id : connection_->Clients()) {
    windows.push_back({id, connection_->Pid(id), connection_->Classes(id)});
  }
  std::reverse(windows.begin(), windows.end());
  return windows;
}

std::uint32_t X11Windows::Active() {
  return IsConnected() ? connection_->Active() : 0;
}

bool X11Windows::Activate(std::uint32_t window, std::chrono::milliseconds limit) {
  if (!IsConnected()) return false;
  connection_->AskToActivate(window);
  const auto end = std::chrono::steady_clock::now() + limit;
  while (connection_->Active() != window) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(kPollPause);
  }
  return true;
}

}  // namespace quillet::platform::linux_desktop
