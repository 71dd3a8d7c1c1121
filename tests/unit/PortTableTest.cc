#include <gtest/gtest.h>

#include "app/PortTable.h"
#include "tests/support/RecordingLog.h"

namespace quillet {
namespace {

using Texts = std::vector<std::string>;

class PortTableTest : public testing::Test {
 protected:
  /// Fills the table with devices that have these names and the paths "/0", "/1" and so on.
  void Fill(const Texts& names) {
    Texts paths;
    while (paths.size() < names.size()) paths.push_back("/" + std::to_string(paths.size()));
    table.numPorts = table.Keep(names, paths);
  }

  Texts Names() const { return First(table.stream); }
  Texts Paths() const { return First(table.path); }

  test::RecordingLog log;
  PortTable table{log};

 private:
  Texts First(const std::array<SharedText, PortTable::kMaximumPorts>& texts) const {
    Texts first;
    for (std::int32_t i = 0; i < table.numPorts; ++i) {
      first.push_back(texts[static_cast<std::size_t>(i)].Get());
    }
    return first;
  }
};

TEST_F(PortTableTest, TruncatesScannerNamesAtAHyphen) {
  Fill({"usbmodem14", "Bluetooth", "MyTavo300-1234-5", "Serial-usbmodem", "tavo"});
  EXPECT_EQ(Names(), (Texts{"usbmodem14", "MyTavo300"}));
  EXPECT_EQ(Paths(), (Texts{"/0", "/2"}));
  EXPECT_EQ(log.lines(), (Texts{"usbmodem14", "usbmodem14", "/0", "Bluetooth", "Bluetooth", "/1",
                                "MyTavo300-1234-5", "MyTavo300", "/2", "Serial-usbmodem", "Serial",
                                "/3", "tavo", "tavo", "/4"}));
}

TEST_F(PortTableTest, NeverStoresARejectedDevice) {
  Fill({"usbmodem1"});
  Fill({"printer"});
  EXPECT_EQ(table.stream[0].Get(), "usbmodem1");
}

TEST_F(PortTableTest, ReturnsThePortListChangeAfterASearch) {
  const struct {
    Texts ports;
    std::int32_t before;
    bool flag, connected;
    PortListChange change;
  } cases[] = {
      {{}, 0, true, false, {1, {{"None"}}}},
      {{}, 2, true, false, {2, {{"None"}}}},
      {{}, 2, false, false, {0, {{"None"}}}},
      {{}, 1, true, true, {0, {{"None"}}}},
      {{"Tavo1"}, 0, true, false, {1, {{"Tavo1", "/0"}}}},
      {{"Tavo1", "Tavo2"}, 1, true, false, {1, {{"Tavo1", "/0"}, {"Tavo2", "/1"}}}},
      {{"Tavo1"}, 3, false, false, {0, {{"Tavo1", "/0"}}}},
      {{"Tavo1"}, 3, true, true, {0, {}}},
  };
  for (const auto& [names, before, flag, connected, change] : cases) {
    Fill(names);
    const auto found = table.AfterSearch(before, flag, connected);
    EXPECT_EQ(found, change) << names.size() << before << flag << connected;
  }
  EXPECT_EQ(log.Count("-[SyncController updatePortList:][Tavo2]"), 1U);
}

TEST_F(PortTableTest, PrefersScannerThenLastUsedPortThenFirstPort) {
  EXPECT_EQ(table.ItemToSelect(1, false), 0);
  Fill({"Tavo", "Tavo", "Tavo"});
  EXPECT_EQ(table.ItemToSelect(5, true), 4);
  EXPECT_EQ(table.ItemToSelect(4, false), 1);
  table.Select(3);
  table.Select(0);
  EXPECT_EQ(table.ItemToSelect(4, false), 3);
  EXPECT_EQ(table.ItemToSelect(3, false), 1) << "the list lacks the port";
  table.SetConnected(1);
  EXPECT_EQ(table.ItemToSelect(4, false), 2);
  Fill({"TavoA"});
  EXPECT_EQ(table.ItemToSelect(2, false), 1);
  Fill({});
  EXPECT_EQ(table.ItemToSelect(1, false), 0);
}

TEST_F(PortTableTest, FindsTheLastUsedPortByPathThenByName) {
  Fill({"TavoA", "TavoB", "TavoC"});
  table.Select(3);
  const Texts names{"TavoC", "TavoX", "TavoC"};
  table.numPorts = table.Keep(names, Texts{"/9", "/2", "/8"});
  EXPECT_EQ(table.ItemToSelect(4, false), 2);
  table.numPorts = table.Keep(names, Texts{"/9", "/7", "/8"});
  EXPECT_EQ(table.ItemToSelect(4, false), 1);
}

TEST_F(PortTableTest, HasUntriedDetectsPortsAddedDuringAnAttempt) {
  Fill({"Tavo"});
  table.BeginAttempt();
  Fill({"Tavo", "printer"});
  EXPECT_FALSE(table.HasUntried());
  Fill({"Tavo", "Tavo"});
  EXPECT_TRUE(table.HasUntried());
  table.SetTried("/1");
  EXPECT_FALSE(table.HasUntried());
  Fill({"Tavo"});
  Fill({"Tavo", "Tavo"});
  EXPECT_TRUE(table.HasUntried()) << "plugged in again";
  Fill({"Tavo"});
  EXPECT_FALSE(table.HasUntried()) << "unplugged";
}

TEST_F(PortTableTest, EndsConnectionUnlessAllPortsLeftHaveItsName) {
  Fill({"TavoA", "TavoB"});
  table.SetConnected(1);
  const std::pair<Texts, bool> cases[] = {
      {{}, true},
      {{"TavoB"}, false},
      {{"TavoB-1", "TavoB-2"}, false},
      {{"TavoA", "TavoB"}, true},
      {{"TavoB", "TavoA"}, true},
      {{"TavoA"}, true},
  };
  for (const auto& [names, ends] : cases) {
    Fill(names);
    EXPECT_EQ(table.EndsConnection(), ends) << names.size();
  }
}

TEST_F(PortTableTest, InvalidIndexHasNoNameOrPath) {
  Fill(Texts(PortTable::kMaximumPorts, "Tavo"));
  for (const std::int32_t index : {-1, 32, 100}) {
    table.portIndex = index;
    EXPECT_EQ(table.PathTried(), "");
    table.SetConnected(0);
    table.SetConnected(index);
    EXPECT_EQ(table.connectedPortString.Get(), "");
  }
  Fill({"Tavo"});
  table.portIndex = 1;
  EXPECT_EQ(table.PathTried(), "") << "stale";
  table.portIndex = 0;
  EXPECT_EQ(table.PathTried(), "/0");
}

}  // namespace
}  // namespace quillet
