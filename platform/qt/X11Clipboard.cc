#include "platform/qt/X11Clipboard.h"

#include <QAbstractNativeEventFilter>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/qt/X11Connection.h"

#if QT_CONFIG(xcb)

#include <xcb/xcb.h>

#include <cstdlib>

namespace quillet::platform::qt {
namespace {

constexpr std::chrono::seconds kLongestSave{1};
constexpr std::uint8_t kSentByClient = 0x80;

template <class T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

xcb_atom_t Atom(xcb_connection_t* xcb, std::string_view name) {
  const auto request =
      xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(name.size()), name.data());
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(xcb, request, nullptr),
                                             std::free);
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

xcb_window_t Owner(xcb_connection_t* xcb, std::string_view selection) {
  const auto request = xcb_get_selection_owner(xcb, Atom(xcb, selection));
  const Reply<xcb_get_selection_owner_reply_t> reply(
      xcb_get_selection_owner_reply(xcb, request, nullptr), std::free);
  return reply ? reply->owner : xcb_window_t{XCB_NONE};
}

bool OwnsClipboard(xcb_connection_t* xcb) {
  const xcb_setup_t* const setup = xcb_get_setup(xcb);
  const xcb_window_t owner = Owner(xcb, "CLIPBOARD");
  return owner != XCB_NONE && (owner & ~setup->resource_id_mask) == setup->resource_id_base;
}

/// Calls an action once, after Qt has handled the first event for which `matches` returns true.
class EventWaiter final : public QAbstractNativeEventFilter {
 public:
  using Matches = std::function<bool(const xcb_generic_event_t&)>;

  EventWaiter(Matches matches, std::function<void()> action)
      : matches_(std::move(matches)), action_(std::move(action)) {
    QCoreApplication::instance()->installNativeEventFilter(this);
  }

  bool nativeEventFilter(const QByteArray&, void* event, qintptr*) override {
    if (action_ && matches_(*static_cast<const xcb_generic_event_t*>(event))) {
      QTimer::singleShot(0, qGuiApp, std::exchange(action_, nullptr));
    }
    return false;
  }

 private:
  const Matches matches_;
  std::function<void()> action_;
};

/// Calls an action once, when the program with focus requests the contents of the clipboard.
/// Ignores other programs, such as clipboard managers, which may request each new text immediately.
class ReadWatcher final : public QAbstractNativeEventFilter {
 public:
  explicit ReadWatcher(xcb_connection_t* xcb)
      : xcb_(xcb), clipboard_(Atom(xcb, "CLIPBOARD")), formats_(Atom(xcb, "TARGETS")) {
    QCoreApplication::instance()->installNativeEventFilter(this);
  }

  void SetAction(std::function<void()> action) { action_ = std::move(action); }

  bool nativeEventFilter(const QByteArray&, void* event, qintptr*) override {
    const auto& request = *static_cast<const xcb_selection_request_event_t*>(event);
    if (action_ && (request.response_type & ~kSentByClient) == XCB_SELECTION_REQUEST &&
        request.selection == clipboard_ && request.target != formats_ &&
        IsOfProgramWithFocus(request.requestor)) {
      std::exchange(action_, nullptr)();
    }
    return false;
  }

 private:
  // The upper bits of a window's ID identify the connection that created the window.
  bool IsOfProgramWithFocus(xcb_window_t window) const {
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr), std::free);
    return reply && ((reply->focus ^ window) & ~xcb_get_setup(xcb_)->resource_id_mask) == 0;
  }

  xcb_connection_t* const xcb_;
  const xcb_atom_t clipboard_;
  const xcb_atom_t formats_;
  std::function<void()> action_;
};

}  // namespace

bool OwnsClipboard() {
  xcb_connection_t* const xcb = X11Connection();
  return xcb == nullptr || OwnsClipboard(xcb);
}

void AfterCurrentTime(std::function<void()> action) {
  xcb_connection_t* const xcb = X11Connection();
  const auto windows = QGuiApplication::topLevelWindows();
  const auto window = std::find_if(windows.begin(), windows.end(),
                                   [](const QWindow* one) { return one->handle() != nullptr; });
  if (xcb == nullptr || window == windows.end() || OwnsClipboard(xcb)) return action();
  const auto id = static_cast<xcb_window_t>((*window)->winId());
  const xcb_atom_t property = Atom(xcb, "_QUILLET_TIME");
  auto waiter = std::make_shared<std::unique_ptr<EventWaiter>>();
  *waiter = std::make_unique<EventWaiter>(
      [=](const xcb_generic_event_t& event) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        return (event.response_type & ~kSentByClient) == XCB_PROPERTY_NOTIFY &&
               change.window == id && change.atom == property;
      },
      [waiter, action = std::move(action)] {
        waiter->reset();
        action();
      });
  xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, id, property, XCB_ATOM_INTEGER, 32, 0, nullptr);
  xcb_flush(xcb);
}

void OnClipboardRead(std::function<void()> action) {
  xcb_connection_t* const xcb = X11Connection();
  if (xcb == nullptr) return;
  static auto* const watcher = new ReadWatcher(xcb);  // lives as long as Qt's connection
  watcher->SetAction(std::move(action));
}

void SaveClipboard() {
  xcb_connection_t* const xcb = X11Connection();
  if (xcb == nullptr || !OwnsClipboard(xcb) || Owner(xcb, "CLIPBOARD_MANAGER") == XCB_NONE) return;
  const xcb_window_t requestor = xcb_generate_id(xcb);
  xcb_create_window(xcb, 0, requestor, xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root, 0,
                    0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
  bool done = false;
  const EventWaiter waiter(
      [=](const xcb_generic_event_t& event) {
        const auto& notify = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        return (event.response_type & ~kSentByClient) == XCB_SELECTION_NOTIFY &&
               notify.requestor == requestor;
      },
      [&] { done = true; });
  // The property _QUILLET_SAVED lists no targets, so the manager saves all of them.
  xcb_convert_selection(xcb, requestor, Atom(xcb, "CLIPBOARD_MANAGER"), Atom(xcb, "SAVE_TARGETS"),
                        Atom(xcb, "_QUILLET_SAVED"), XCB_CURRENT_TIME);
  xcb_flush(xcb);
  // Polls, because QEventLoop::exec returns at once while the program is ending.
  const auto end = std::chrono::steady_clock::now() + kLongestSave;
  while (!done && std::chrono::steady_clock::now() < end) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace quillet::platform::qt

#else

namespace quillet::platform::qt {

bool OwnsClipboard() {
  return true;
}

void AfterCurrentTime(std::function<void()> action) {
  action();
}

void OnClipboardRead(std::function<void()>) {}

void SaveClipboard() {}

}  // namespace quillet::platform::qt

#endif
