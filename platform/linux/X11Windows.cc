#include "platform/linux/X11Windows.h"

#include <glib.h>
#include <xcb/res.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "platform/linux/Processes.h"
#include "platform/linux/Xcb.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// Source indication of _NET_ACTIVE_WINDOW for requests on behalf of the user, such as those of a
// pager.
constexpr std::uint32_t kUserRequest = 2;

constexpr std::uint32_t kLongestProperty = 16384;  // in units of four bytes
constexpr auto kPollPause = 2ms;

using PropertyReply = XcbReply<xcb_get_property_reply_t>;

std::string Text(const PropertyReply& property) {
  if (!property || property->format != 8) return {};
  return {static_cast<const char*>(xcb_get_property_value(property.get())),
          static_cast<std::size_t>(xcb_get_property_value_length(property.get()))};
}

std::vector<std::uint32_t> Numbers(const PropertyReply& property) {
  if (!property || property->format != 32) return {};
  std::vector<std::uint32_t> numbers(
      static_cast<std::size_t>(xcb_get_property_value_length(property.get())) / 4);
  std::memcpy(numbers.data(), xcb_get_property_value(property.get()), numbers.size() * 4);
  return numbers;
}

std::uint32_t FirstNumber(const PropertyReply& property) {
  const auto numbers = Numbers(property);
  return numbers.empty() ? 0 : numbers[0];
}

}  // namespace

class X11Windows::Connection : public XcbConnection {
 public:
  Connection();

  std::vector<std::uint32_t> Clients() { return Numbers(Reply(Request(root_, clientList_))); }
  std::uint32_t Active() { return FirstNumber(Reply(Request(root_, activeWindow_))); }
  std::vector<Window> Describe(std::span<const std::uint32_t> ids);
  void RequestActivation(std::uint32_t window);
  void EndStartup(std::string_view id);

 private:
  // The pending requests for a window.
  struct Requests {
    xcb_res_query_client_ids_cookie_t client;
    xcb_get_property_cookie_t pid, machine, classes, type, transientFor;
  };

  void Broadcast(const std::string& text, const std::string& type);
  void DiscardEvents();
  xcb_res_query_client_ids_cookie_t RequestPid(std::uint32_t window);
  int PidOf(const Requests& requests);
  int PidOfClient(xcb_res_query_client_ids_cookie_t request);
  bool IsNormal(const PropertyReply& type, const PropertyReply& transientFor) const;
  xcb_atom_t Atom(std::string_view name);
  xcb_get_property_cookie_t Request(std::uint32_t window, xcb_atom_t property);
  PropertyReply Reply(xcb_get_property_cookie_t request);

  xcb_window_t root_ = XCB_NONE;
  xcb_atom_t clientList_ = XCB_ATOM_NONE;
  xcb_atom_t activeWindow_ = XCB_ATOM_NONE;
  xcb_atom_t pid_ = XCB_ATOM_NONE;
  xcb_atom_t type_ = XCB_ATOM_NONE;
  xcb_atom_t normalType_ = XCB_ATOM_NONE;
  bool hasClientPids_ = false;
};

X11Windows::Connection::Connection() {
  if (IsBroken()) return;
  auto roots = xcb_setup_roots_iterator(xcb_get_setup(xcb_));
  while (screen_-- > 0 && roots.rem > 1) xcb_screen_next(&roots);
  root_ = roots.data->root;
  clientList_ = Atom("_NET_CLIENT_LIST_STACKING");
  activeWindow_ = Atom("_NET_ACTIVE_WINDOW");
  pid_ = Atom("_NET_WM_PID");
  type_ = Atom("_NET_WM_WINDOW_TYPE");
  normalType_ = Atom("_NET_WM_WINDOW_TYPE_NORMAL");
  // Servers with an older version of the extension reply to RequestPid with an error.
  const auto* resources = xcb_get_extension_data(xcb_, &xcb_res_id);
  hasClientPids_ = resources != nullptr && resources->present;
}

// Sends all requests before waiting for the first reply.
std::vector<X11Windows::Window> X11Windows::Connection::Describe(
    std::span<const std::uint32_t> ids) {
  DiscardEvents();
  std::vector<Requests> requests;
  for (const std::uint32_t id : ids) {
    requests.push_back({hasClientPids_ ? RequestPid(id) : xcb_res_query_client_ids_cookie_t{},
                        Request(id, pid_), Request(id, XCB_ATOM_WM_CLIENT_MACHINE),
                        Request(id, XCB_ATOM_WM_CLASS), Request(id, type_),
                        Request(id, XCB_ATOM_WM_TRANSIENT_FOR)});
  }
  std::vector<Window> windows;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    Window window;
    window.id = ids[i];
    window.pid = PidOf(requests[i]);
    window.classes = SplitAtNuls(LowerCase(Text(Reply(requests[i].classes))));
    window.isNormal = IsNormal(Reply(requests[i].type), Reply(requests[i].transientFor));
    windows.push_back(std::move(window));
  }
  return windows;
}

void X11Windows::Connection::RequestActivation(std::uint32_t window) {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = activeWindow_;
  message.data.data32[0] = kUserRequest;
  message.data.data32[1] = XCB_CURRENT_TIME;
  xcb_send_event(xcb_, 0, root_,
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&message));
  xcb_flush(xcb_);
}

void X11Windows::Connection::EndStartup(std::string_view id) {
  std::string text = "remove: ID=";
  for (const char character : id) {
    if (std::string_view(" \"\\").find(character) != std::string_view::npos) text += '\\';
    text += character;
  }
  text += '\0';
  Broadcast(text, "_NET_STARTUP_INFO");
}

// Sends text in pieces. The type of the first piece ends in "_BEGIN". Each message contains the
// ID of a new window, which identifies the text.
void X11Windows::Connection::Broadcast(const std::string& text, const std::string& type) {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 8;
  message.window = xcb_generate_id(xcb_);
  message.type = Atom(type + "_BEGIN");
  const xcb_atom_t next = Atom(type);
  xcb_create_window(xcb_, 0, message.window, root_, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                    XCB_COPY_FROM_PARENT, 0, nullptr);
  for (std::size_t sent = 0; sent < text.size(); sent += sizeof message.data) {
    message.data = {};
    text.copy(reinterpret_cast<char*>(message.data.data8), sizeof message.data, sent);
    xcb_send_event(xcb_, 0, root_, XCB_EVENT_MASK_PROPERTY_CHANGE,
                   reinterpret_cast<const char*>(&message));
    message.type = next;
  }
  xcb_destroy_window(xcb_, message.window);
  // Waits for the server, which may drop pending requests when the connection is closed.
  const XcbReply<xcb_get_input_focus_reply_t> reply(
      xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
}

xcb_res_query_client_ids_cookie_t X11Windows::Connection::RequestPid(std::uint32_t window) {
  const xcb_res_client_id_spec_t client{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
  return xcb_res_query_client_ids(xcb_, 1, &client);
}

// Prefers the process ID known to the server, since many windows have no _NET_WM_PID. Ignores the
// _NET_WM_PID of windows from other computers.
int X11Windows::Connection::PidOf(const Requests& requests) {
  const int fromServer = hasClientPids_ ? PidOfClient(requests.client) : 0;
  const auto fromWindow = static_cast<int>(FirstNumber(Reply(requests.pid)));
  const bool isLocal = Text(Reply(requests.machine)) == g_get_host_name();
  return fromServer != 0 ? fromServer : isLocal ? fromWindow : 0;
}

int X11Windows::Connection::PidOfClient(xcb_res_query_client_ids_cookie_t request) {
  const XcbReply<xcb_res_query_client_ids_reply_t> reply{
      xcb_res_query_client_ids_reply(xcb_, request, nullptr)};
  if (!reply) return 0;
  for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
       xcb_res_client_id_value_next(&ids)) {
    if (xcb_res_client_id_value_value_length(ids.data) >= 1) {
      return static_cast<int>(*xcb_res_client_id_value_value(ids.data));
    }
  }
  return 0;
}

bool X11Windows::Connection::IsNormal(const PropertyReply& type,
                                      const PropertyReply& transientFor) const {
  const auto types = Numbers(type);
  if (types.empty()) return FirstNumber(transientFor) == XCB_NONE;
  return std::find(types.begin(), types.end(), normalType_) != types.end();
}

// Discards events that the server sends without a request, such as keyboard changes. They would
// otherwise accumulate.
void X11Windows::Connection::DiscardEvents() {
  while (XcbReply<xcb_generic_event_t>(xcb_poll_for_event(xcb_))) continue;
}

xcb_atom_t X11Windows::Connection::Atom(std::string_view name) {
  const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
      xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
      nullptr)};
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

xcb_get_property_cookie_t X11Windows::Connection::Request(std::uint32_t window,
                                                          xcb_atom_t property) {
  return xcb_get_property(xcb_, 0, window, property, XCB_ATOM_ANY, 0, kLongestProperty);
}

// Returns null on an error, for example if the window no longer exists.
PropertyReply X11Windows::Connection::Reply(xcb_get_property_cookie_t request) {
  return PropertyReply(xcb_get_property_reply(xcb_, request, nullptr));
}

std::string LowerCase(std::string text) {
  for (char& character : text) character = g_ascii_tolower(character);
  return text;
}

X11Windows::X11Windows() : connection_(std::make_unique<Connection>()) {}

X11Windows::~X11Windows() = default;

bool X11Windows::IsConnected() const {
  return !connection_->IsBroken();
}

std::vector<X11Windows::Window> X11Windows::All() {
  if (!IsConnected()) return {};
  auto windows = connection_->Describe(connection_->Clients());
  const std::uint32_t active = connection_->Active();
  for (Window& window : windows) window.isActive = window.id == active;
  std::reverse(windows.begin(), windows.end());
  return windows;
}

std::optional<X11Windows::Window> X11Windows::Active() {
  const std::uint32_t active = IsConnected() ? connection_->Active() : 0;
  if (active == 0) return std::nullopt;
  Window window = connection_->Describe({&active, 1}).front();
  window.isActive = true;
  return window;
}

bool X11Windows::Activate(std::uint32_t window, std::chrono::milliseconds limit, Clock& clock) {
  if (!IsConnected()) return false;
  connection_->RequestActivation(window);
  const auto end = clock.Now() + limit;
  while (connection_->Active() != window) {
    if (clock.Now() > end) return false;
    clock.Sleep(kPollPause);
  }
  return true;
}

void X11Windows::EndStartup(std::string_view id) {
  if (IsConnected()) connection_->EndStartup(id);
}

}  // namespace quillet::platform::linux_desktop
