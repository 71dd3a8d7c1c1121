// Contract tests of the interfaces that deliver records to other applications.

#include <linux/input.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/DesktopApplications.h"
#include "platform/linux/KeyStrokes.h"
#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/X11KeyEvents.h"
#include "tests/contract/Contract.h"
#include "tests/platform/ScriptApplications.h"
#include "tests/platform/XClient.h"
#include "tests/platform/XServer.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {
namespace {

using namespace platform::linux_desktop;
using platform::KeyEvent;
using platform::KeyFlag;

struct KeyEventsHarness {
  virtual ~KeyEventsHarness() = default;
  virtual platform::KeyEvents& Keys() = 0;
  /// Waits until the application with focus has received the next `count` events. Modifier keys
  /// are returned as flags of key-down events, not as separate events.
  virtual std::vector<KeyEvent> Receive(std::size_t count) = 0;
};

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

/// A backend that sends modifiers as separate keystrokes.
struct StrokesHarness : KeyEventsHarness {
  /// Returns the next received stroke, if any.
  virtual std::optional<KeyStroke> NextStroke() = 0;

  std::vector<KeyEvent> Receive(std::size_t count) override {
    std::vector<KeyEvent> received;
    KeyFlag flag = KeyFlag::kNone;
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
      return received.size() >= count && flag == KeyFlag::kNone;
    });
    return received;
  }

  RecordingLog log;
};

struct X11KeysHarness final : StrokesHarness {
  static constexpr char kName[] = "X11";
  X11KeysHarness() { client.TakeFocus(); }
  platform::KeyEvents& Keys() override { return keys; }
  std::optional<KeyStroke> NextStroke() override {
    const int key = client.NextKey();
    if (key == 0) return std::nullopt;
    constexpr int kFirstCode = 8;
    return KeyStroke{static_cast<std::uint16_t>(std::abs(key) - kFirstCode), key > 0};
  }

  XServer server;
  XClient client;
  FakeClock clock;
  X11KeyEvents keys{log, clock};
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
  SentKeys sent{std::chrono::milliseconds(1)};
  UinputKeyEvents keys{log, clock, sent, [this] { return ends[0]; }};
};

class KeyEventsContract : public Contract<KeyEventsHarness> {
 protected:
  void ExpectDelivered(const std::vector<KeyEvent>& events) {
    harness_->Keys().Post(events);
    const std::vector<KeyEvent> received = harness_->Receive(events.size());
    ASSERT_EQ(received.size(), events.size());
    for (std::size_t i = 0; i < events.size(); ++i) EXPECT_TRUE(received[i] == events[i]) << i;
  }
};

TEST_P(KeyEventsContract, PostsEachKeyWithItsModifier) {
  for (std::uint16_t key = 0; key <= 50; key += 9) {
    for (const KeyFlag flag : {KeyFlag::kNone, KeyFlag::kShift, KeyFlag::kCommand}) {
      ExpectDelivered({{key, true, flag}, {key, false, KeyFlag::kNone}});
    }
  }
}

TEST_P(KeyEventsContract, PostsEventsInOrder) {
  std::vector<KeyEvent> events;
  for (std::uint16_t key = 0; key < 50; ++key) {
    events.push_back({key, true, key % 3 == 0 ? KeyFlag::kShift : KeyFlag::kNone});
    events.push_back({key, false, KeyFlag::kNone});
  }
  ExpectDelivered(events);
}

TEST_P(KeyEventsContract, PostsNothingForAnEmptyList) {
  ExpectDelivered({});
  ExpectDelivered({{36, true, KeyFlag::kNone}, {36, false, KeyFlag::kNone}});
}

INSTANTIATE_TEST_SUITE_P(
    Keys, KeyEventsContract,
    (Implementations<KeyEventsHarness, FakeKeysHarness, X11KeysHarness, UinputHarness>()), kNameOf);

struct ApplicationsHarness {
  virtual ~ApplicationsHarness() = default;
  virtual platform::Applications& Apps() = 0;
  /// Installs an application that, once started, runs until the test ends. @return its path
  virtual std::string Install(const std::string& name) = 0;
};

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
  platform::Applications& Apps() override { return applications; }
  std::string Install(const std::string& name) override { return scripts.InstallEditor(name); }

  ScriptApplications scripts;
  FakeClock clock;
  DesktopApplications applications{false, clock};
};

class ApplicationsContract : public Contract<ApplicationsHarness> {
 protected:
  std::size_t TimesListed(const std::string& path) {
    std::size_t times = 0;
    for (const std::string& listed : applications_.LaunchedApplications()) times += listed == path;
    return times;
  }

  platform::Applications& applications_ = harness_->Apps();
};

TEST_P(ApplicationsContract, AcceptsOnlyExistingAbsolutePaths) {
  EXPECT_TRUE(applications_.HasApplication(harness_->Install("Editor")));
  for (const char* path : {"/nowhere/Editor", "Editor", ""}) {
    EXPECT_FALSE(applications_.HasApplication(path)) << path;
  }
}

TEST_P(ApplicationsContract, DoesNotOpenAMissingApplication) {
  EXPECT_FALSE(applications_.OpenApplication("/nowhere/Editor"));
  EXPECT_EQ(TimesListed("/nowhere/Editor"), 0U);
}

TEST_P(ApplicationsContract, ListsEachOpenedApplicationOnce) {
  const std::string editor = harness_->Install("Editor");
  const std::string other = harness_->Install("Other");
  EXPECT_EQ(TimesListed(editor), 0U);
  for (int opening = 0; opening < 2; ++opening) {
    EXPECT_TRUE(applications_.OpenApplication(editor));
    EXPECT_TRUE(WaitFor([&] { return TimesListed(editor) == 1; }));
  }
  EXPECT_EQ(TimesListed(other), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Applications, ApplicationsContract,
    (Implementations<ApplicationsHarness, FakeApplicationsHarness, DesktopHarness>()), kNameOf);

}  // namespace
}  // namespace quillet::test
