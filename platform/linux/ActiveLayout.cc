#include "platform/linux/ActiveLayout.h"

#include <gio/gio.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace quillet::platform::linux_desktop {

// KWin provides the service org.kde.keyboard. In older Plasma versions, the keyboard daemon does.
class ActiveLayout::Plasma {
 public:
  ~Plasma() { sd_bus_flush_close_unref(bus_); }

  std::optional<std::uint32_t> Active() {
    std::uint32_t layout = 0;
    const bool isKnown = Call("getLayout", "u", &layout, "");
    return isKnown ? std::optional(layout) : std::nullopt;
  }

  // Returns true if Plasma has ever replied, or if it is running but did not reply in time.
  bool IsRunning() const { return isRunning_; }

  bool Select(std::uint32_t layout) {
    int isSelected = 0;
    return Call("setLayout", "b", &isSelected, "u", layout) && isSelected != 0;
  }

 private:
  static constexpr std::uint64_t kReplyLimit = 1000000;  // microseconds

  template <class... Arguments>
  bool Call(const char* method, const char* resultType, void* result, Arguments... arguments) {
    if (bus_ == nullptr &&
        (sd_bus_open_user(&bus_) < 0 || sd_bus_set_method_call_timeout(bus_, kReplyLimit) < 0)) {
      return false;
    }
    sd_bus_message* reply = nullptr;
    const int status =
        sd_bus_call_method(bus_, "org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts", method,
                           nullptr, &reply, arguments...);
    const bool isRead = status >= 0 && sd_bus_message_read(reply, resultType, result) > 0;
    isRunning_ = isRunning_ || isRead || status == -ETIMEDOUT;
    sd_bus_message_unref(reply);
    if (sd_bus_is_open(bus_) <= 0) bus_ = sd_bus_flush_close_unref(bus_);
    return isRead;
  }

  sd_bus* bus_ = nullptr;
  bool isRunning_ = false;
};

// GNOME's "sources" setting lists the layouts and input methods. Its "mru-sources" setting lists
// them with the most recently used first, and may still contain entries that the user has removed.
class ActiveLayout::Gnome {
 public:
  Gnome() {
    constexpr char kSchema[] = "org.gnome.desktop.input-sources";
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    GSettingsSchema* const schema =
        source == nullptr ? nullptr : g_settings_schema_source_lookup(source, kSchema, TRUE);
    if (schema == nullptr) return;
    g_settings_schema_unref(schema);
    settings_ = g_settings_new(kSchema);
  }
  ~Gnome() {
    if (settings_ != nullptr) g_object_unref(settings_);
  }
  Gnome(const Gnome&) = delete;
  Gnome& operator=(const Gnome&) = delete;

  std::optional<UserLayouts> Read() const {
    if (settings_ == nullptr) return std::nullopt;
    const Sources sources = SourcesIn("sources");
    if (sources.size() <= 1) return UserLayouts{.count = 1, .active = 0};
    const bool areLayouts = std::all_of(sources.begin(), sources.end(),
                                        [](const Source& one) { return one.first == "xkb"; });
    if (!areLayouts || g_settings_get_boolean(settings_, "per-window")) {
      return UserLayouts{.count = static_cast<std::uint32_t>(sources.size()), .active = {}};
    }
    auto active = sources.begin();
    for (const Source& used : SourcesIn("mru-sources")) {
      const auto found = std::find(sources.begin(), sources.end(), used);
      if (found == sources.end()) continue;
      active = found;
      break;
    }
    return LayoutsAt(static_cast<std::size_t>(active - sources.begin()), sources.size());
  }

 private:
  using Source = std::pair<std::string, std::string>;  // for example ("xkb", "de+neo")
  using Sources = std::vector<Source>;

  // A keymap holds up to three of the user's layouts and one layout for shortcuts (GNOME Shell,
  // keyboardManager.js).
  static UserLayouts LayoutsAt(std::size_t position, std::size_t count) {
    constexpr std::size_t kLayoutsInKeymap = 3;
    const std::size_t group = position % kLayoutsInKeymap;
    const std::size_t groups = std::min(kLayoutsInKeymap, count - (position - group));
    return {.count = static_cast<std::uint32_t>(groups),
            .active = static_cast<std::uint32_t>(group)};
  }

  Sources SourcesIn(const char* key) const {
    Sources sources;
    GVariant* const list = g_settings_get_value(settings_, key);
    GVariantIter iterator;
    g_variant_iter_init(&iterator, list);
    const char *type = nullptr, *name = nullptr;
    while (g_variant_iter_next(&iterator, "(&s&s)", &type, &name)) sources.emplace_back(type, name);
    g_variant_unref(list);
    return sources;
  }

  GSettings* settings_ = nullptr;
};

ActiveLayout::ActiveLayout()
    : plasma_(std::make_unique<Plasma>()), gnome_(std::make_unique<Gnome>()) {}
ActiveLayout::~ActiveLayout() = default;

UserLayouts ActiveLayout::Read() {
  if (const auto active = plasma_->Active()) {
    return {.active = active, .canSelect = true, .isReportedAtOnce = true};
  }
  if (plasma_->IsRunning()) return {};
  return gnome_->Read().value_or(UserLayouts{});
}

bool ActiveLayout::Select(std::uint32_t group) {
  return plasma_->Select(group);
}

}  // namespace quillet::platform::linux_desktop
