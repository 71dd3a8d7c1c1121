#include <gio/gio.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <utility>

#include "platform/linux/ActiveLayout.h"
#include "tests/platform/FakePlasmaLayouts.h"
#include "tests/platform/FakePortal.h"
#include "tests/support/Variable.h"

namespace quillet::platform::linux_desktop {
namespace {

using Group = std::optional<std::uint32_t>;

class GnomeLayoutTest : public testing::Test {
 protected:
  ~GnomeLayoutTest() override {
    for (const char* key : {"sources", "mru-sources", "per-window"}) {
      g_settings_reset(settings_, key);
    }
    g_object_unref(settings_);
  }

  /// Sets a list of input sources, for example "[('xkb', 'us'), ('xkb', 'de+neo')]".
  void Set(const char* key, const char* sources) {
    GVariant* const value =
        g_variant_parse(G_VARIANT_TYPE("a(ss)"), sources, nullptr, nullptr, nullptr);
    g_settings_set_value(settings_, key, value);
    g_variant_unref(value);
  }

  const test::FakePortal bus_;  // a session bus without the portal
  const test::Variable backend_{"GSETTINGS_BACKEND", "memory"};
  GSettings* const settings_ = g_settings_new("org.gnome.desktop.input-sources");
  ActiveLayout layout_;
};

TEST_F(GnomeLayoutTest, ReadsTheMostRecentlyUsedInputSource) {
  Set("sources", "[('xkb', 'us'), ('xkb', 'de+neo')]");
  EXPECT_EQ(layout_.Read(), (UserLayouts{.count = 2, .active = 0}));
  Set("mru-sources", "[('xkb', 'de+neo'), ('xkb', 'us')]");
  EXPECT_EQ(layout_.Read(), (UserLayouts{.count = 2, .active = 1}));
}

TEST_F(GnomeLayoutTest, IgnoresRemovedInputSources) {
  Set("sources", "[('xkb', 'us'), ('xkb', 'fr')]");
  Set("mru-sources", "[('xkb', 'de'), ('xkb', 'fr'), ('xkb', 'us')]");
  EXPECT_EQ(layout_.Read().active, Group(1));
}

TEST_F(GnomeLayoutTest, PutsAtMostThreeLayoutsIntoAKeymap) {
  Set("sources", "[('xkb', 'us'), ('xkb', 'fr'), ('xkb', 'de'), ('xkb', 'es'), ('xkb', 'it')]");
  EXPECT_EQ(layout_.Read(), (UserLayouts{.count = 3, .active = 0}));
  Set("mru-sources", "[('xkb', 'it')]");
  EXPECT_EQ(layout_.Read(), (UserLayouts{.count = 2, .active = 1}));
}

TEST_F(GnomeLayoutTest, ActiveLayoutIsUnknownIfSetPerWindow) {
  Set("sources", "[('xkb', 'us'), ('xkb', 'de')]");
  g_settings_set_boolean(settings_, "per-window", TRUE);
  EXPECT_EQ(layout_.Read(), (UserLayouts{.count = 2, .active = {}}));
}

TEST_F(GnomeLayoutTest, ActiveLayoutIsUnknownIfAnInputMethodIsConfigured) {
  Set("sources", "[('xkb', 'us'), ('ibus', 'libpinyin')]");
  EXPECT_EQ(layout_.Read(), (UserLayouts{.count = 2, .active = {}}));
}

TEST_F(GnomeLayoutTest, CannotSelectALayout) {
  EXPECT_FALSE(layout_.Read().canSelect);
  EXPECT_FALSE(layout_.Select(0));
}

TEST(PlasmaLayoutTest, ReadsAndSelectsTheLayout) {
  const test::FakePortal bus;
  // The dconf backend would connect to the bus, and GIO would end the process when the bus closes.
  const test::Variable backend{"GSETTINGS_BACKEND", "memory"};
  test::FakePlasmaLayouts plasma;
  ActiveLayout layout;
  plasma.active = 1;
  EXPECT_EQ(layout.Read(), (UserLayouts{.active = 1, .canSelect = true, .isReportedAtOnce = true}));
  EXPECT_TRUE(layout.Select(0));
  EXPECT_EQ(plasma.active, 0U);
  EXPECT_FALSE(layout.Select(2));
}

TEST(PlasmaLayoutTest, LayoutIsUnknownIfPlasmaDoesNotReply) {
  const test::FakePortal bus;
  const test::Variable backend{"GSETTINGS_BACKEND", "memory"};
  test::FakePlasmaLayouts plasma;
  ActiveLayout layout;
  plasma.isSilent = true;
  EXPECT_EQ(layout.Read(), UserLayouts{});
  EXPECT_EQ(layout.Read(), UserLayouts{});
}

TEST(PlasmaLayoutTest, LayoutIsUnknownIfPlasmaHasExited) {
  const test::FakePortal bus;
  const test::Variable backend{"GSETTINGS_BACKEND", "memory"};
  std::optional<test::FakePlasmaLayouts> plasma(std::in_place);
  ActiveLayout layout;
  EXPECT_TRUE(layout.Read().active);
  plasma.reset();
  EXPECT_EQ(layout.Read(), UserLayouts{});
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
