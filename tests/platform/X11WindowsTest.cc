#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/linux/X11Windows.h"
#include "tests/platform/XClient.h"
#include "tests/platform/XServer.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

using test::XClient;
using test::XServer;
using Texts = std::vector<std::string>;

TEST(X11WindowsTest, ListsWindowsTopmostFirst) {
  XServer server;
  XClient client;
  const auto below = client.MakeWindow();
  const auto above = client.MakeWindow();
  client.SetText(below, "WM_CLASS", std::string("stock\0Stock List\0", 17));
  client.SetActive(below);
  X11Windows windows;
  const auto all = windows.All();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].id, above);
  EXPECT_EQ(all[0].classes, Texts{});
  EXPECT_FALSE(all[0].isActive);
  EXPECT_EQ(all[1].id, below);
  EXPECT_EQ(all[1].classes, (Texts{"stock", "stock list"}));
  EXPECT_TRUE(all[1].isActive);
  EXPECT_EQ(all[1].pid, getpid());
  const auto active = windows.Active();
  ASSERT_TRUE(active);
  EXPECT_EQ(active->id, below);
  EXPECT_EQ(active->classes, all[1].classes);
  EXPECT_TRUE(active->isActive);
  client.SetActive(0);
  EXPECT_FALSE(windows.Active());
}

TEST(X11WindowsTest, DoesNotTreatPalettesOrDialogsAsNormalWindows) {
  XServer server;
  XClient client;
  const auto plain = client.MakeWindow();
  const auto normal = client.MakeWindow();
  const auto palette = client.MakeWindow();
  const auto dialog = client.MakeWindow();
  client.SetNumber(normal, "_NET_WM_WINDOW_TYPE", client.Atom("_NET_WM_WINDOW_TYPE_NORMAL"));
  client.SetNumber(palette, "_NET_WM_WINDOW_TYPE", client.Atom("_NET_WM_WINDOW_TYPE_UTILITY"));
  client.SetNumber(dialog, "WM_TRANSIENT_FOR", plain);
  std::vector<bool> isNormal;
  for (const auto& window : X11Windows().All()) isNormal.push_back(window.isNormal);
  EXPECT_EQ(isNormal, (std::vector<bool>{false, false, true, true}));
}

TEST(X11WindowsTest, UsesTheProcessIdPropertyOfLocalWindowsOnly) {
  // Without this extension the server does not report the process ID of a client.
  XServer server({"-extension", "X-Resource"});
  XClient client;
  char machine[256] = {};
  gethostname(machine, sizeof machine - 1);
  const auto local = client.MakeWindow();
  const auto remote = client.MakeWindow();
  const auto unknown = client.MakeWindow();
  for (const auto window : {local, remote, unknown}) client.SetNumber(window, "_NET_WM_PID", 17);
  client.SetText(local, "WM_CLIENT_MACHINE", machine);
  client.SetText(remote, "WM_CLIENT_MACHINE", std::string(machine) + ".elsewhere.example");
  std::vector<int> pids;
  for (const auto& window : X11Windows().All()) pids.push_back(window.pid);
  EXPECT_EQ(pids, (std::vector<int>{0, 0, 17}));
}

TEST(X11WindowsTest, BroadcastsStartupCompletion) {
  XServer server;
  XClient client;
  client.ListenToRoot();
  X11Windows().EndStartup("launcher \"one\"/17-0_TIME4711");
  std::string received;
  EXPECT_TRUE(test::WaitFor([&] { return (received += client.Messages()).size() >= 60; }));
  EXPECT_EQ(received.c_str(), std::string(R"(remove: ID=launcher\ \"one\"/17-0_TIME4711)"));
}

TEST(X11WindowsTest, IgnoresKeyboardMappingEvents) {
  XServer server;
  XClient client;
  X11Windows windows;
  client.MakeWindow();
  client.ChangeKeyboard();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(windows.All().size(), 1U);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
