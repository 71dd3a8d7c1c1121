#include "platform/linux/X11Windows.h"

#include <unistd.h>
#include <xcb/res.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "platform/linux/Processes.h"
#include "platform/linux/Xcb.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// A pager, or another program that acts for the user, may take the focus for a window.
constexpr std::uint32_t kActsForTheUser = 2;

constexpr std::uint32_t kLongestProperty = 16384;  // in units of four bytes

// The version of the X resource extension that tells the processes of clients.
constexpr std::uint8_t kResourceMajor = 1;
constexpr std::uint8_t kResourceMinor = 2;

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

std::vector<std::string> LowerCaseTexts(const PropertyReply& property) {
  std::vector<std::string> texts = SplitAtNuls(Text(property));
  for (std::string& text : texts) {
    for (char& character : text) {
      character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
  }
  return texts;
}

std::string ThisMachine() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  return name;
}

}  // namespace

class X11Windows::Connection : public XcbConnection {
 public:
  Connection() {
    if (IsBroken()) return;
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(xcb_));
    while (screen_-- > 0 && roots.rem > 1) xcb_screen_next(&roots);
    root_ = roots.data->root;
    clientList_ = Atom("_NET_CLIENT_LIST_STACKING");
    activeWindow_ = Atom("_NET_ACTIVE_WINDOW");
    pid_ = Atom("_NET_WM_PID");
    type_ = Atom("_NET_WM_WINDOW_TYPE");
    normalType_ = Atom("_NET_WM_WINDOW_TYPE_NORMAL");
    const auto* resources = xcb_get_extension_data(xcb_, &xcb_res_id);
    if (resources == nullptr || !resources->present) return;
    const XcbReply<xcb_res_query_version_reply_t> version{xcb_res_query_version_reply(
        xcb_, xcb_res_query_version(xcb_, kResourceMajor, kResourceMinor), nullptr)};
    canAskForPids_ = version && (version->server_major > kResourceMajor ||
                                 version->server_minor >= kResourceMinor);
  }
  std::vector<std::uint32_t> Clients() { return Numbers(Take(Ask(root_, clientList_))); }
  std::uint32_t Active() { return FirstNumber(Take(Ask(root_, activeWindow_))); }

  // All is asked for before the first answer is waited for.
  std::vector<Window> Describe(std::span<const std::uint32_t> ids) {
    ForgetNews();
    std::vector<Asked> asked;
    for (const std::uint32_t id : ids) {
      asked.push_back({canAskForPids_ ? AskForClient(id) : xcb_res_query_client_ids_cookie_t{},
                       Ask(id, pid_), Ask(id, XCB_ATOM_WM_CLIENT_MACHINE),
                       Ask(id, XCB_ATOM_WM_CLASS), Ask(id, type_),
                       Ask(id, XCB_ATOM_WM_TRANSIENT_FOR)});
    }
    std::vector<Window> windows;
    for (std::size_t i = 0; i < ids.size(); ++i) {
      Window window;
      window.id = ids[i];
      window.pid = PidOf(asked[i]);
      window.classes = LowerCaseTexts(Take(asked[i].classes));
      window.isNormal = IsNormal(Take(asked[i].type), Take(asked[i].transientFor));
      windows.push_back(std::move(window));
    }
    return windows;
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
  // What was asked about one window.
  struct Asked {
    xcb_res_query_client_ids_cookie_t client;
    xcb_get_property_cookie_t pid, machine, classes, type, transientFor;
  };

  xcb_res_query_client_ids_cookie_t AskForClient(std::uint32_t window) {
    const xcb_res_client_id_spec_t asked{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    return xcb_res_query_client_ids(xcb_, 1, &asked);
  }

  // The server knows the process at the other end of a window's connection, which many windows do
  // not tell of themselves. It knows none of a remote one, whose number means nothing here.
  int PidOf(const Asked& asked) {
    const int known = canAskForPids_ ? PidOfClient(asked.client) : 0;
    const auto told = static_cast<int>(FirstNumber(Take(asked.pid)));
    const bool isHere = Text(Take(asked.machine)) == machine_;
    return known != 0 ? known : isHere ? told : 0;
  }

  int PidOfClient(xcb_res_query_client_ids_cookie_t asked) {
    xcb_generic_error_t* error = nullptr;
    const XcbReply<xcb_res_query_client_ids_reply_t> reply{
        xcb_res_query_client_ids_reply(xcb_, asked, &error)};
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

  bool IsNormal(const PropertyReply& type, const PropertyReply& transientFor) const {
    const auto types = Numbers(type);
    if (types.empty()) return FirstNumber(transientFor) == XCB_NONE;
    return std::find(types.begin(), types.end(), normalType_) != types.end();
  }

  // News comes unasked, as of a changed keyboard, and nobody here wants it.
  void ForgetNews() {
    while (XcbReply<xcb_generic_event_t>(xcb_poll_for_event(xcb_))) continue;
  }

  xcb_atom_t Atom(std::string_view name) {
    const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
        xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr)};
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  xcb_get_property_cookie_t Ask(std::uint32_t window, xcb_atom_t property) {
    return xcb_get_property(xcb_, 0, window, property, XCB_ATOM_ANY, 0, kLongestProperty);
  }

  PropertyReply Take(xcb_get_property_cookie_t asked) {
    // An error, as of a window that has just gone, is taken with the reply.
    xcb_generic_error_t* error = nullptr;
    PropertyReply reply{xcb_get_property_reply(xcb_, asked, &error)};
    std::free(error);
    return reply;
  }

  const std::string machine_ = ThisMachine();
  xcb_window_t root_ = XCB_NONE;
  xcb_atom_t clientList_ = XCB_ATOM_NONE;
  xcb_atom_t activeWindow_ = XCB_ATOM_NONE;
  xcb_atom_t pid_ = XCB_ATOM_NONE;
  xcb_atom_t type_ = XCB_ATOM_NONE;
  xcb_atom_t normalType_ = XCB_ATOM_NONE;
  bool canAskForPids_ = false;
};

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
  connection_->AskToActivate(window);
  const auto end = clock.Now() + limit;
  while (connection_->Active() != window) {
    if (clock.Now() > end) return false;
    clock.Sleep(kPollPause);
  }
  return true;
}

}  // namespace quillet::platform::linux_desktop
