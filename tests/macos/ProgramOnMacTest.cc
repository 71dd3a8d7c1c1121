// Tests of the whole program, without its window, on the macOS backends and the fake frameworks.

#include "platform/posix/PosixFileStore.h"
#include "program/Desktop.h"
#include "tests/macos/fakes/Fakes.h"
#include "tests/support/AppFixture.h"

namespace quillet::macos_tests {
namespace {

using Texts = std::vector<std::string>;

constexpr char kTextEdit[] = "/Applications/TextEdit.app";

/// The backends that the program uses on macOS.
struct MacDesktop {
  test::RecordingLog log;
  test::FakeClock clock;
  platform::posix::PosixFileStore files;
  test::FakeMainQueue mainQueue;
  Desktop desktop = DesktopOfSession({log, clock, files, mainQueue, nullptr});

  test::OwnPlatform Parts() const {
    return {.registry = &SerialRegistryOfSystem(),
            .workspace = desktop.workspace.get(),
            .keyEvents = desktop.keyEvents.get(),
            .pasteboard = desktop.pasteboard.get(),
            .applications = desktop.applications.get()};
  }
};

class ProgramOnMacTest : public test::AppFixture {
 protected:
  ProgramOnMacTest() : AppFixture(1000, test::Immortal<MacDesktop>().Parts()) {}

  void TearDown() override { controller.stopNotification(); }

  std::size_t PlugIn(const std::string& name) {
    return Plug({.name = name, .path = folder / name});
  }

  void LaunchWith(const test::Choice& choice) {
    TheMac().installed = {kTextEdit};
    StartWith(choice);
    Launch();
    controller.TavoInitializationDone(true);
    mainQueue.RunAll();
  }

  Account account_;
};

TEST_F(ProgramOnMacTest, UpdatesPortsWhenADeviceIsPluggedInOrRemoved) {
  Launch();
  for (int round = 0; round < 3; ++round) {
    const std::size_t scanner = PlugIn("usbmodem1");
    EXPECT_EQ(RunLoopTurn(), 1);
    FinishConnecting();
    EXPECT_EQ(ports.items(), (Texts{"None", "usbmodem1"}));
    EXPECT_EQ(controller.path[0].Get(), folder / "usbmodem1");
    Unplug(scanner);
    EXPECT_EQ(RunLoopTurn(), 1);
    mainQueue.RunAll();
    EXPECT_EQ(ports.items(), (Texts{"None", "None"}));
  }
}

TEST_F(ProgramOnMacTest, ActivatesOnConnectAndDisconnectsOnUnplug) {
  tavo.Attach(folder / "usbmodem1", test::Scanner());
  const std::size_t scanner = PlugIn("usbmodem1");
  const int before = TheMac().activations;
  Launch();
  EXPECT_EQ(TheMac().activations, before + 1);
  ClearView();
  Unplug(scanner);
  EXPECT_EQ(RunLoopTurn(), 1);
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
}

TEST_F(ProgramOnMacTest, TypesARecordKeyByKey) {
  LaunchWith({.destination = kToActiveApplication});
  controller.DisplayBarcode("aB\r\n");
  std::vector<std::pair<int, std::uint64_t>> downs;
  for (const PostedKey& posted : TheMac().posted) {
    if (posted.down) downs.emplace_back(posted.key, posted.flags);
  }
  EXPECT_EQ(downs, (decltype(downs){{0, 0}, {11, 0x20000}, {36, 0}}));
}

TEST_F(ProgramOnMacTest, PastesARecordWithCommandV) {
  LaunchWith({.destination = kToActiveApplication, .nonenglish = true});
  controller.DisplayBarcode("12\xC3\xA9\r\n");
  EXPECT_EQ(TheMac().pasteboardText, "12\xC3\xA9\r\n");
  ASSERT_EQ(TheMac().posted.size(), 2U);
  EXPECT_EQ(TheMac().posted[0].key, 9);
  EXPECT_EQ(TheMac().posted[0].flags, 0x100000U);
}

TEST_F(ProgramOnMacTest, OpensTheNamedApplicationForEachRecord) {
  LaunchWith({.destination = kToNamedApplication, .path = kTextEdit});
  controller.DisplayBarcode("1");
  controller.DisplayBarcode("2");
  EXPECT_EQ(TheMac().opened, (Texts{kTextEdit, kTextEdit}));
  EXPECT_EQ(log.Count("/Applications/TextEdit.app Is Running"), 2U);
  Choose(kToNamedApplication, "/Applications/TextEdit");
  controller.DisplayBarcode("3");
  EXPECT_TRUE(log.Has("-[SyncController RunApplication]:Couldn't get FSRef"));
  EXPECT_EQ(TheMac().posted.size(), 6U);
}

}  // namespace
}  // namespace quillet::macos_tests
