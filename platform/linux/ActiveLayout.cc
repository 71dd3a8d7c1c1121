#include "platform/linux/ActiveLayout.h"

#include <gio/gio.h>
#include <systemd/sd-bus.h>

#include <optional>

namespace quillet::platform::linux_desktop {
namespace {

// GNOME lists the layouts in "sources". The first entry of "mru-sources" is the active one.
std::optional<std::uint32_t> LayoutOfGnome() {
  constexpr char kSchema[] = "org.gnome.desktop.input-sources";
  GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
  GSettingsSchema* const schema =
      source == nullptr ? nullptr : g_settings_schema_source_lookup(source, kSchema, TRUE);
  if (schema == nullptr) return std::nullopt;
  g_settings_schema_unref(schema);
  GSettings* const settings = g_settings_new(kSchema);
  GVariant* const sources = g_settings_get_value(settings, "sources");
  GVariant* const used = g_settings_get_value(settings, "mru-sources");
  std::optional<std::uint32_t> found;
  if (g_variant_n_children(used) > 0) {
    GVariant* const active = g_variant_get_child_value(used, 0);
    for (gsize i = 0; i < g_variant_n_children(sources) && !found; ++i) {
      GVariant* const one = g_variant_get_child_value(sources, i);
      if (g_variant_equal(one, active)) found = static_cast<std::uint32_t>(i);
      g_variant_unref(one);
    }
    g_variant_unref(active);
  }
  g_variant_unref(used);
  g_variant_unref(sources);
  g_object_unref(settings);
  return found;
}

std::optional<std::uint32_t> LayoutOfPlasma() {
  constexpr std::uint64_t kReplyLimit = 3000000;  // microseconds
  sd_bus* bus = nullptr;
  sd_bus_message* reply = nullptr;
  std::uint32_t layout = 0;
  const bool isKnown =
      sd_bus_open_user(&bus) >= 0 && sd_bus_set_method_call_timeout(bus, kReplyLimit) >= 0 &&
      sd_bus_call_method(bus, "org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts",
                         "getLayout", nullptr, &reply, "") >= 0 &&
      sd_bus_message_read(reply, "u", &layout) > 0;
  sd_bus_message_unref(reply);
  sd_bus_flush_close_unref(bus);
  return isKnown ? std::optional(layout) : std::nullopt;
}

}  // namespace

std::uint32_t ActiveLayout() {
  if (const auto layout = LayoutOfPlasma()) return *layout;
  return LayoutOfGnome().value_or(0);
}

}  // namespace quillet::platform::linux_desktop
