// The contracts of devices and delivery, on the fakes and on the backends of Linux.

#include <fcntl.h>
#include <linux/input.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "platform/linux/DesktopApplications.h"
#include "platform/linux/KeyStrokes.h"
#include "platform/linux/UdevSerialRegistry.h"
#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/X11KeyEvents.h"
#include "tests/contract/DeliveryContract.h"
#include "tests/contract/SerialRegistryContract.h"
#include "tests/platform/MockedUdev.h"
#include "tests/platform/XClient.h"
#include "tests/platform/XServer.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::test {
namespace {

using namespace platform::linux_desktop;
using platform::KeyEvent;
using platform::KeyFlag;

std::string Numbered(const std::string& text, int number) {
  return text + std::to_string(number);
}

struct FakeRegistryHarness final : RegistryHarness {
  static constexpr char kName[] = "Fake";
  platform::SerialRegistry& Registry() override { return registry; }
  void Plug(int number) override {
    registry.Plug(Numbered("usbmodem", number), Numbered("/dev/", number));
  }
  void Unplug(int number) override { registry.Unplug(Numbered("/dev/", number)); }
  void RunMainLoop() override {}

  FakeRegistry registry;
};

struct UdevHarness final : RegistryHarness {
  static constexpr char kName[] = "Udev";
  platform::SerialRegistry& Registry() override { return registry; }
  void Plug(int number) override {
    terminals[number] =
        system.AddUsbModem(Numbered("3-", number) + ":1.0", Numbered("ttyACM", number));
  }
  void Unplug(int number) override { system.Remove(terminals.at(number)); }
  void RunMainLoop() override { loop.RunUntilQuiet(); }

  MockedUdev system;
  PollLoop loop;
  std::map<int, std::string> terminals;
  UdevSerialRegistry registry{loop};
};

INSTANTIATE_TEST_SUITE_P(Registry, SerialRegistryContract,
                         (Implementations<RegistryHarness, FakeRegistryHarness, UdevHarness>()),
                         kNameOf);

struct FakeKeysHarness final : KeyEventsHarness {
  static constexpr char kName[] = "Fake";
  platform::KeyEvents& Keys() override { return keys; }
  std::vector<KeyEvent> Receive(std::size_t) override {
    std::vector<KeyEvent> received;
    for (; read < keys.posts().size(); ++read) {
      received.insert(received.end(), keys.posts()[read].begin(), keys.posts()[read].end());
    }
    return received;
  }

  FakeKeyEvents keys;
  std::size_t read = 0;
};

/// A backend that strokes modifiers as keys.
struct StrokesHarness : KeyEventsHarness {
  /// The next stroke that has arrived, if any.
  virtual std::optional<KeyStroke> NextStroke() = 0;

  std::vector<KeyEvent> Receive(std::size_t count) override {
    std::vector<KeyEvent> received;
    KeyFlag flag = KeyFlag::kNone;
    const auto modifierIsUp = [&] { return flag == KeyFlag::kNone; };
    WaitFor([&] {
      while (const auto stroke = NextStroke()) {
        if (stroke->code == KEY_LEFTSHIFT || stroke->code == KEY_LEFTCTRL) {
          const bool isShift = stroke->code == KEY_LEFTSHIFT;
          flag = !stroke->down ? KeyFlag::kNone : isShift ? KeyFlag::kShift : KeyFlag::kCommand;
          continue;
        }
        std::uint16_t key = 0;
        while (key < 51 && EvdevKeyCode(key) != stroke->code) ++key;
        received.push_back({key, stroke->down, flag});
      }
      return received.size() >= count && modifierIsUp();
    });
    return received;
  }

  RecordingLog log;
};

struct X11KeysHarness final : StrokesHarness {
  static constexpr char kName[] = "X11";
  X11KeysHarness() { client.TakeKeys(); }
  platform::KeyEvents& Keys() override { return keys; }
  std::optional<KeyStroke> NextStroke() override {
    const int key = client.NextKey();
    if (key == 0) return std::nullopt;
    constexpr int kFirstCode = 8;
    return KeyStroke{static_cast<std::uint16_t>(std::abs(key) - kFirstCode), key > 0};
  }

  XServer server;
  XClient client;
  X11KeyEvents keys{log};
};

struct UinputHarness final : StrokesHarness {
  static constexpr char kName[] = "Uinput";
  UinputHarness() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0); }
  ~UinputHarness() override { close(ends[1]); }
  platform::KeyEvents& Keys() override { return keys; }
  std::optional<KeyStroke> NextStroke() override {
    input_event event{};
    while (read(ends[1], &event, sizeof event) == static_cast<ssize_t>(sizeof event)) {
      if (event.type == EV_KEY) return KeyStroke{event.code, event.value != 0};
    }
    return std::nullopt;
  }

  int ends[2] = {};
  FakeClock clock{100000};
  UinputKeyEvents keys{log, clock, [this] { return ends[0]; }};
};

INSTANTIATE_TEST_SUITE_P(
    Keys, KeyEventsContract,
    (Implementations<KeyEventsHarness, FakeKeysHarness, X11KeysHarness, UinputHarness>()), kNameOf);

struct FakeApplicationsHarness final : ApplicationsHarness {
  static constexpr char kName[] = "Fake";
  platform::Applications& Apps() override { return applications; }
  std::string Install(const std::string& name) override {
    return *applications.installed.insert("/usr/bin/" + name).first;
  }

  FakeApplications applications;
};

struct DesktopHarness final : ApplicationsHarness {
  static constexpr char kName[] = "Desktop";
  ~DesktopHarness() override {
    std::ifstream started(folder / "started");
    for (int pid = 0; started >> pid;) kill(pid, SIGTERM);
  }
  platform::Applications& Apps() override { return applications; }
  std::string Install(const std::string& name) override {
    const std::string path =
        folder.Put(name, "#!/bin/sh\necho $$ >>'" + folder / "started" + "'\nwhile [ -e '" +
                             folder.path() + "' ]; do sleep 0.1; done\n");
    chmod(path.c_str(), 0700);
    return path;
  }

  TemporaryFolder folder;
  FakeClock clock;
  DesktopApplications applications{false, clock};
};

INSTANTIATE_TEST_SUITE_P(
    Applications, ApplicationsContract,
    (Implementations<ApplicationsHarness, FakeApplicationsHarness, DesktopHarness>()), kNameOf);

}  // namespace
}  // namespace quillet::test
