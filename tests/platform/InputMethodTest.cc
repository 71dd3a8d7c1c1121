#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "platform/linux/InputMethod.h"
#include "tests/platform/FakePortal.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"

namespace quillet::platform::linux_desktop {
namespace {

// A service on the session bus that replies like ibus-daemon(1) or fcitx5(1).
class FakeInputMethod {
 public:
  FakeInputMethod(const char* service, const char* path, std::string engine)
      : engine_(std::move(engine)) {
    const auto handle = [](sd_bus_message* call, void* self, sd_bus_error*) {
      return static_cast<FakeInputMethod*>(self)->Handle(call);
    };
    if (sd_bus_open_user(&bus_) < 0 || sd_bus_add_object(bus_, nullptr, path, handle, this) < 0 ||
        sd_bus_request_name(bus_, service, 0) < 0) {
      throw std::runtime_error("sd-bus");
    }
    thread_ = std::thread([this] { Run(); });
  }
  ~FakeInputMethod() {
    isEnding_ = true;
    thread_.join();
    sd_bus_flush_close_unref(bus_);
  }
  FakeInputMethod(const FakeInputMethod&) = delete;
  FakeInputMethod& operator=(const FakeInputMethod&) = delete;

 private:
  void Run() {
    while (!isEnding_) {
      while (sd_bus_process(bus_, nullptr) > 0) continue;
      sd_bus_wait(bus_, 5000);
    }
  }

  int Handle(sd_bus_message* call) {
    const std::string method = sd_bus_message_get_member(call);
    if (method == "CurrentInputMethod") {
      return sd_bus_reply_method_return(call, "s", engine_.c_str());
    }
    if (method != "Get") return 0;
    // The first members of an engine's description.
    return sd_bus_reply_method_return(call, "v", "v", "(sa{sv}ss)", "IBusEngineDesc", 0,
                                      engine_.c_str(), "a longer name");
  }

  const std::string engine_;
  sd_bus* bus_ = nullptr;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
};

struct FakeIbus : FakeInputMethod {
  explicit FakeIbus(const char* engine)
      : FakeInputMethod("org.freedesktop.IBus", "/org/freedesktop/IBus", engine) {}
};

struct FakeFcitx : FakeInputMethod {
  explicit FakeFcitx(const char* engine)
      : FakeInputMethod("org.fcitx.Fcitx5", "/controller", engine) {}
};

class InputMethodTest : public ::testing::Test {
 protected:
  const test::FakePortal bus_;
  const std::string address_ = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  const test::TemporaryFolder folder_;
  const test::Variable configuration_{"XDG_CONFIG_HOME", folder_.path()};
  const test::Variable wayland_{"WAYLAND_DISPLAY", ""};
  const test::Variable display_{"DISPLAY", ":7.0"};
};

TEST_F(InputMethodTest, ReturnsNothingWithoutAnInputMethod) {
  const test::Variable ibus("IBUS_ADDRESS", address_);
  EXPECT_EQ(ActiveInputMethod(), "");
}

TEST_F(InputMethodTest, NamesTheIbusEngineUnlessItIsALayout) {
  const test::Variable ibus("IBUS_ADDRESS", address_);
  {
    const FakeIbus pinyin("libpinyin\n");
    EXPECT_EQ(ActiveInputMethod(), "libpinyin (IBus)");
  }
  const FakeIbus german("xkb:de::ger");
  EXPECT_EQ(ActiveInputMethod(), "");
}

TEST_F(InputMethodTest, NamesTheFcitxEngineUnlessItIsALayout) {
  const test::Variable ibus("IBUS_ADDRESS", "");
  {
    const FakeFcitx mozc("mozc");
    EXPECT_EQ(ActiveInputMethod(), "mozc (Fcitx)");
  }
  const FakeFcitx german("keyboard-de");
  EXPECT_EQ(ActiveInputMethod(), "");
}

TEST_F(InputMethodTest, ReadsTheIbusAddressFromTheFileForTheDisplay) {
  const test::Variable ibus("IBUS_ADDRESS", "");
  const FakeIbus pinyin("libpinyin");
  std::string machine;
  std::ifstream("/etc/machine-id") >> machine;
  const std::string folder = folder_.path() + "/ibus/bus/";
  std::filesystem::create_directories(folder);
  for (const std::string name : {"-unix-7", "-unix-wayland-3"}) {
    std::ofstream(folder + machine + name) << "# comment\nIBUS_ADDRESS=" << address_ << "\n";
    const test::Variable wayland("WAYLAND_DISPLAY", name == "-unix-7" ? "" : "wayland-3");
    EXPECT_EQ(ActiveInputMethod(), "libpinyin (IBus)") << name;
    std::filesystem::remove(folder + machine + name);
    EXPECT_EQ(ActiveInputMethod(), "") << name;
  }
}

TEST_F(InputMethodTest, GivesUpQuicklyIfTheBusHangs) {
  const std::string path = folder_.path() + "/bus";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path.c_str());
  const int server = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(server, 1), 0);
  const test::Variable ibus("IBUS_ADDRESS", "unix:path=" + path);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ActiveInputMethod(), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10 * kInputMethodLimit);
  close(server);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
