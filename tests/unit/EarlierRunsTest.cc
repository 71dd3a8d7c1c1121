#include "app/EarlierRuns.h"
#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using platform::RunRow;
using platform::RunsActions;
using platform::SettingsValues;
using test::FileContents;
using test::Scanner;
using test::WaitFor;
using Texts = std::vector<std::string>;

class EarlierRunsTest : public test::AppFixture {
 protected:
  void ConnectWith(const test::Choice& choice, const std::vector<std::string>& records) {
    StartWith(choice);
    LaunchConnected(Scanner(records));
  }

  /// Synchronizes the records to the main view at 14:07:09.
  void RunWith(const std::vector<std::string>& records) {
    ConnectWith({.destination = 1}, records);
    clock.Set({2026, 11, 16, 14, 7, 9});
    Synchronize();
    ClearView();
  }

  /// Waits until all files have been read or written.
  void Settle() {
    ASSERT_TRUE(WaitFor([&] {
      mainQueue.RunAll();
      return !runs.busy();
    }));
  }

  /// Opens the window and waits until it lists all runs.
  void OpenList() {
    earlierRuns.Press();
    Settle();
  }

  /// Presses a button of the window and waits until its action has ended.
  void Press(std::function<void()> RunsActions::*action) {
    runs.Press(action);
    Settle();
  }

  /// Stores a run in the archive. Each text in `data` is stored as a record and as a line that ends
  /// with CR LF.
  void Store(const std::string& name, const std::string& time, const std::string& end,
             const Texts& data) const {
    std::string records = "quillet-archive 1\ntime " + time +
                          "\nscanner 2104005771\nfirmware 1\nlayout older\nsettings 0\n"
                          "destination 1 \n";
    std::string lines;
    for (const std::string& text : data) {
      const auto size = static_cast<char>(text.size() + 5);
      records += "record " + std::to_string(text.size() + 6) + "\n" + size + std::string(1, 0) +
                 text + std::string(4, 0) + "\n";
      lines += text + "\r\n";
    }
    if (!end.empty()) records += "end " + end + "\n";
    std::filesystem::create_directory(archiveFolder);
    test::PutFile(archiveFolder + "/" + name + ".records", records);
    test::PutFile(archiveFolder + "/" + name + ".txt", lines);
  }

  /// Presses "Deliver again" and waits until the delivery has ended.
  void Deliver() {
    runs.Press(&RunsActions::deliver);
    AwaitDelivery();
  }
  void AwaitDelivery() {
    ASSERT_TRUE(WaitFor([&] {
      mainQueue.RunAll();
      return !runs.delivering();
    }));
  }
  bool AwaitMessage(const std::string& start) {
    return WaitFor([&] {
      mainQueue.RunAll();
      return runs.message().starts_with(start);
    });
  }

  std::string States() const {
    std::string states;
    for (const RunRow& row : runs.rows()) states += row.state + "|";
    return states;
  }
};

TEST_F(EarlierRunsTest, ExplainsAnEmptyList) {
  Launch();
  earlierRuns.Press();
  EXPECT_EQ(runs.message(), "Reading the archive…");
  Settle();
  EXPECT_EQ(runs.message(), "");
  EXPECT_TRUE(runs.runsWindow().IsShown());
  EXPECT_TRUE(runs.rows().empty());
  EXPECT_EQ(runs.emptyText(),
            "No synchronizations yet.\nQuillet keeps the records of every synchronization here.");
  EXPECT_FALSE(runs.canUse() || runs.canRemove());
}

TEST_F(EarlierRunsTest, ListsRunsAndLiveScansNewestFirst) {
  ConnectWith({.path = folder / "stock.txt", .clearmemory = true}, {"one", "two"});
  clock.Set({2026, 11, 16, 14, 7, 9});
  Synchronize();
  AwaitErase();
  Choose(2);
  tavo.Scan("live");
  OpenList();
  EXPECT_EQ(runs.rows(),
            (std::vector<RunRow>{
                {"2026-11-16", "123456", "1", "The active application", "Live scans", ""},
                {"2026-11-16 14:07:09", "123456", "2", folder / "stock.txt", "Complete", "Yes"}}));
  EXPECT_EQ(runs.SelectedRow(), 0);
  EXPECT_EQ(runs.preview().text(), "live\n");
}

TEST_F(EarlierRunsTest, MarksHiddenCharactersInSerialNumbersAndPaths) {
  StartWith({.path = folder / "out\u202Etxt.exe"});
  simulator::DeviceSettings scanner = Scanner({"one"});
  scanner.serial = "0000\u202E\t12";
  LaunchConnected(std::move(scanner));
  Synchronize();
  OpenList();
  ASSERT_EQ(runs.rows().size(), 1U);
  EXPECT_EQ(runs.rows()[0].scanner, "\uFFFD\uFFFD12");
  EXPECT_EQ(runs.rows()[0].destination, folder / "out\uFFFDtxt.exe");
  panels.answer = folder / "a\nb";
  Press(&RunsActions::saveAs);
  EXPECT_EQ(runs.message(), "Saved: " + (folder / "a\uFFFDb"));
  EXPECT_TRUE(FileContents(folder / "a\nb").has_value());
  Deliver();
  EXPECT_EQ(runs.message(), "1 record delivered to " + (folder / "out\uFFFDtxt_2.exe"));
}

TEST_F(EarlierRunsTest, SearchShowsRowsThatContainAllWords) {
  RunWith({"one"});
  tavo.Scan("live");
  OpenList();
  for (const auto& [text, states] : {std::pair("14:07", "Complete|"),
                                     {"COMPLETE 2026-11", "Complete|"},
                                     {"live window", "Live scans|"},
                                     {"123456", "Live scans|Complete|"},
                                     {"live complete", ""},
                                     {"", "Live scans|Complete|"}}) {
    runs.Search(text);
    EXPECT_EQ(States(), states) << text;
  }
  runs.Search("nothing");
  EXPECT_EQ(runs.emptyText(), "No synchronizations match the search.");
  EXPECT_EQ(runs.SelectedRow(), -1);
  EXPECT_FALSE(runs.canUse());
}

TEST_F(EarlierRunsTest, SavesAndCopiesTheLinesUnchanged) {
  RunWith({"one", "caf\xE9"});
  OpenList();
  EXPECT_EQ(runs.preview().text(), "one\ncaf\xC3\xA9\n");
  Press(&RunsActions::copy);
  EXPECT_EQ(pasteboard.texts(), Texts{"one\r\ncaf\xC3\xA9\r\n"});
  EXPECT_EQ(runs.message(), "2 records copied to the clipboard.");
  panels.answer = folder / "saved.txt";
  Press(&RunsActions::saveAs);
  EXPECT_EQ(FileContents(folder / "saved.txt"), "one\r\ncaf\xC3\xA9\r\n");
  EXPECT_EQ(panels.runs, Texts{"Save records||20261116_140709_0000123456.txt"});
  EXPECT_EQ(runs.message(), "Saved: " + (folder / "saved.txt"));
  panels.answer = folder / "missing/saved.txt";
  Press(&RunsActions::saveAs);
  EXPECT_EQ(runs.message(),
            (folder / "missing/saved.txt") + " could not be written. Choose another folder.");
}

TEST_F(EarlierRunsTest, PreviewEndsWithACompleteLine) {
  RunWith(Texts(2000, std::string(60, 'x')));
  OpenList();
  const std::string& text = runs.preview().text();
  EXPECT_LT(text.size(), 66'000U);
  EXPECT_TRUE(text.ends_with(
      std::string(60, 'x') +
      "\n… Only the first records are shown. To see all of them, save or copy the records."));
}

TEST_F(EarlierRunsTest, ExportsOneCsvRowPerRecordOrBarcode) {
  RunWith({"7", "8", "7"});
  OpenList();
  panels.answer = folder / "records.csv";
  Press(&RunsActions::exportCsv);
  EXPECT_EQ(panels.runs, Texts{"Export as CSV||20261116_140709_0000123456.csv"});
  const std::string records = FileContents(folder / "records.csv").value_or("");
  EXPECT_EQ(std::ranges::count(records, '\n'), 4);
  runs.csv = {{.rowPerBarcode = true, .apostrophes = true}};
  Press(&RunsActions::exportCsv);
  EXPECT_NE(FileContents(folder / "records.csv")->find("\"'7\",2\r\n"), std::string::npos);
  runs.csv = std::nullopt;
  Press(&RunsActions::exportCsv);
  EXPECT_EQ(panels.runs.size(), 2U) << "cancelled";
}

TEST_F(EarlierRunsTest, ShowsTheArchivedFileInItsFolder) {
  RunWith({"one"});
  OpenList();
  runs.Press(&RunsActions::showInFolder);
  EXPECT_EQ(workspace.shownInFolder, Texts{archiveFolder + "/20261116_140709_0000123456.txt"});
}

TEST_F(EarlierRunsTest, DeliversToANewFileWithCurrentSettings) {
  RunWith({"one", "caf\xE9"});
  Choose(0, folder / "stock.txt");
  Change(&SettingsValues::recorddelimiter, 1);
  Change(&SettingsValues::attachserial, true);
  Change(&SettingsValues::appenddata, true);
  folder.Put("stock.txt", "precious");
  folder.Put("stock_2.txt", "precious too");
  OpenList();
  Deliver();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "precious");
  EXPECT_EQ(FileContents(folder / "stock_2.txt"), "precious too");
  EXPECT_EQ(FileContents(folder / "stock_3.txt"), "one;123456\ncaf\xC3\xA9;123456\n");
  EXPECT_EQ(runs.message(), "2 records delivered to " + (folder / "stock_3.txt"));
  EXPECT_EQ(strip.Message(), runs.message());
}

TEST_F(EarlierRunsTest, KeepsAFileThatAppearsDuringDelivery) {
  RunWith({"one"});
  Choose(0, folder / "stock.txt");
  OpenList();
  files.whileReplacing = [this] { folder.Put("stock.txt", "precious"); };
  Deliver();
  EXPECT_EQ(FileContents(folder / "stock.txt"), "precious");
  EXPECT_EQ(FileContents(folder / "stock_2.txt"), "one\r\n");
}

TEST_F(EarlierRunsTest, RefusesToWriteToTheSettingsFile) {
  RunWith({"one"});
  const std::string settingsFile = dataFolder + "/QuilletRegistry.txt";
  Choose(0, folder / "link.txt");
  std::filesystem::create_symlink(settingsFile, folder / "link.txt");
  const auto before = FileContents(settingsFile);
  OpenList();
  panels.answer = settingsFile;
  for (const auto action : {&RunsActions::saveAs, &RunsActions::exportCsv, &RunsActions::deliver}) {
    Press(&RunsActions::copy);  // shows another message
    runs.Press(action);
    EXPECT_TRUE(
        AwaitMessage("Records cannot be written to the settings file. Choose another file."));
  }
  AwaitDelivery();
  EXPECT_EQ(FileContents(settingsFile), before);
  EXPECT_FALSE(FileContents(folder / "link_2.txt"));
}

TEST_F(EarlierRunsTest, DeliversToAFileWithAGeneratedNameAndToTheView) {
  RunWith({"one"});
  Choose(0, dataFolder + "/sn_timestamp.txt");
  OpenList();
  Deliver();
  EXPECT_EQ(FileContents(dataFolder + "123456_20261116_140709.txt"), "one\r\n");
  Choose(1);
  Deliver();
  EXPECT_EQ(View(), "one|");
  EXPECT_EQ(runs.message(), "1 record shown in Quillet's window.");
}

TEST_F(EarlierRunsTest, TypesOnlyIfAnotherWindowHasFocus) {
  RunWith({"12", "3"});
  Choose(2);
  OpenList();
  workspace.active = true;
  runs.Press(&RunsActions::deliver);
  const std::string waiting = "Waiting to deliver. Click the target window.";
  ASSERT_TRUE(AwaitMessage(waiting));
  EXPECT_EQ(strip.Message(), waiting);
  EXPECT_TRUE(keyEvents.posts().empty());
  workspace.active = false;
  AwaitDelivery();
  EXPECT_EQ(log.Count("Quillet: " + waiting), 1);
  EXPECT_TRUE(log.Has("Quillet: Delivering records…"));
  EXPECT_EQ(keyEvents.posts().size(), 2U);
  EXPECT_EQ(runs.message(), "2 records delivered.");
}

TEST_F(EarlierRunsTest, DeliveryStopsIfNoOtherWindowReceivesFocus) {
  RunWith({"12", "3"});
  Choose(2);
  OpenList();
  workspace.active = true;
  Deliver();
  EXPECT_TRUE(keyEvents.posts().empty());
  EXPECT_EQ(runs.message(),
            "No other window received focus within 60 seconds. Delivery stopped after 0 of "
            "2 records.");
}

TEST_F(EarlierRunsTest, WaitsForAnotherWindowIfQuilletRegainsFocus) {
  RunWith({"1", "2"});
  Choose(2);
  OpenList();
  keyEvents.onPost = [&] { workspace.active = keyEvents.posts().size() == 1; };
  runs.Press(&RunsActions::deliver);
  ASSERT_TRUE(AwaitMessage("Waiting to deliver"));
  EXPECT_EQ(keyEvents.posts().size(), 1U);
  workspace.active = false;
  AwaitDelivery();
  EXPECT_EQ(keyEvents.posts().size(), 2U);
}

TEST_F(EarlierRunsTest, StopsDeliveringIfStopIsPressed) {
  RunWith({"12", "3"});
  Choose(2);
  OpenList();
  workspace.active = true;
  runs.Press(&RunsActions::deliver);
  ASSERT_TRUE(AwaitMessage("Waiting to deliver"));
  EXPECT_TRUE(runs.delivering());
  Deliver();
  EXPECT_EQ(runs.message(), "Delivery stopped after 0 of 2 records.");
}

TEST_F(EarlierRunsTest, CountsRecordsThatCannotBeTyped) {
  RunWith({"1", "caf\xE9", "2~", "3"});
  keyEvents.untypable = "~";
  Choose(2);
  OpenList();
  Deliver();
  EXPECT_EQ(runs.message(),
            "2 records delivered; 2 could not be typed. Turn on \"Paste text instead of typing "
            "it\" in the settings.");
}

TEST_F(EarlierRunsTest, DeliveryStopsIfTheDesktopRejectsKeyEvents) {
  RunWith({"1", "2", "3"});
  Choose(2);
  OpenList();
  keyEvents.onPost = [&] {
    if (keyEvents.posts().size() == 2) keyEvents.problem = "permission was denied.";
  };
  Deliver();
  EXPECT_EQ(keyEvents.posts().size(), 2U);
  EXPECT_EQ(runs.message(),
            "Quillet cannot type on this desktop: permission was denied. Delivery stopped after 1 "
            "of 3 records.");
}

TEST_F(EarlierRunsTest, DeliveryStopsIfTheClipboardIsNotAvailable) {
  RunWith({"1", "2"});
  Choose(2);
  controller.lumet->bNonEnglish = 1;
  pasteboard.takes = false;
  OpenList();
  Deliver();
  EXPECT_EQ(runs.message(),
            "The clipboard is not available. Delivery stopped after 0 of 2 records.");
}

TEST_F(EarlierRunsTest, OpensTheApplicationBeforeTyping) {
  RunWith({"1"});
  applications.installed = {"/usr/bin/editor"};
  Choose(3, "/usr/bin/editor");
  OpenList();
  Deliver();
  EXPECT_EQ(applications.opened, Texts{"/usr/bin/editor"});
  EXPECT_EQ(keyEvents.posts().size(), 1U);
}

TEST_F(EarlierRunsTest, NeitherDeliversNorDeletesARunInProgress) {
  RunWith({"one"});
  tavo.Hold("GS0");
  synchronize.Press();
  tavo.WaitUntilHeld();
  OpenList();
  EXPECT_EQ(States(), "In progress|Complete|");
  EXPECT_EQ(runs.preview().text(), "one\n");
  EXPECT_FALSE(runs.canRemove());
  Deliver();
  EXPECT_EQ(runs.message(),
            "A synchronization is in progress. You can deliver the records when it has finished.");
  tavo.Release();
  AwaitEnd(1);
  Settle();
  EXPECT_EQ(States(), "Complete|Complete|");
  EXPECT_TRUE(runs.canRemove());
}

TEST_F(EarlierRunsTest, SelectsTheRequestedRunOnceItIsListed) {
  const auto store = [this](const std::string& day) {
    Store("202611" + day + "_080000_2104005771", "2026-11-" + day + " 08:00:00", "", {"one"});
  };
  store("01");
  test::PutFile(archiveFolder + "/20261101_080000_2104005771.open", "");
  Launch();
  mainQueue.RunAll();
  std::filesystem::remove_all(archiveFolder);
  store("02");
  OpenList();
  store("01");
  ASSERT_EQ(strip.Buttons(), Texts{"Show"});
  strip.Press(0);
  runs.Search("08:00");  // shows the list that does not contain the requested run yet
  Settle();
  ASSERT_EQ(runs.rows().size(), 2U);
  EXPECT_EQ(runs.SelectedRow(), 1);
}

TEST_F(EarlierRunsTest, JoinsTheFilesOfALargeRun) {
  Store("20261101_080000_2104005771", "2026-11-01 08:00:00", "continued 2026-11-01 08:20:00",
        {"one", "two"});
  Store("20261101_080000_2104005771_part02", "2026-11-01 08:20:01",
        "complete 2026-11-01 08:30:00\nerased 2026-11-01 08:30:01", {"three"});
  Store("20261101_083030_2104005771", "2026-11-01 08:30:30", "complete 2026-11-01 08:31:00",
        {"other run"});
  StartWith({.destination = 1});
  Launch();
  OpenList();
  EXPECT_EQ(States(), "Complete|Complete|");
  EXPECT_EQ(runs.rows()[1], (RunRow{"2026-11-01 08:00:00", "005771", "3", "Quillet's window only",
                                    "Complete", "Yes"}));
  runs.Select(1);
  Settle();
  EXPECT_EQ(runs.preview().text(), "one\ntwo\nthree\n");
  Press(&RunsActions::copy);
  EXPECT_EQ(pasteboard.texts(), Texts{"one\r\ntwo\r\nthree\r\n"});
  panels.answer = folder / "records.csv";
  Press(&RunsActions::exportCsv);
  EXPECT_EQ(std::ranges::count(*FileContents(folder / "records.csv"), '\n'), 4);
  ClearView();
  Deliver();
  EXPECT_EQ(View(), "one|two|three|");
  Press(&RunsActions::remove);
  EXPECT_TRUE(runs.question().find("deletes 3 records") != std::string::npos) << runs.question();
  EXPECT_EQ(files.List(archiveFolder).size(), 2U);
  EXPECT_EQ(States(), "Complete|");
}

TEST_F(EarlierRunsTest, PreviewReadsOnlyTheFilesThatItShows) {
  const std::string name = "20261101_080000_2104005771";
  Store(name, "2026-11-01 08:00:00", "continued 2026-11-01 08:20:00", {"one"});
  test::PutFile(archiveFolder + "/" + name + ".txt", std::string(70'000, 'x'));
  Store(name + "_part02", "2026-11-01 08:20:01", "complete 2026-11-01 08:30:00", {"two"});
  std::filesystem::remove(archiveFolder + "/" + name + "_part02.txt");
  Launch();
  OpenList();
  EXPECT_TRUE(runs.preview().text().starts_with("xxx"));
}

TEST_F(EarlierRunsTest, JoinsTheLiveScanFilesOfTheSameDay) {
  Store("20261101_live", "2026-11-01 08:00:00", "", {"one"});
  Store("20261101_live_2", "2026-11-01 09:00:00", "", {"two"});
  Store("20261102_live", "2026-11-02 08:00:00", "", {"three"});
  Launch();
  OpenList();
  EXPECT_EQ(States(), "Live scans|Live scans|");
  runs.Select(1);
  Settle();
  EXPECT_EQ(runs.rows()[1].records, "2");
  EXPECT_EQ(runs.preview().text(), "one\ntwo\n");
}

TEST_F(EarlierRunsTest, ListsAnInterruptedRunWithAllItsRecords) {
  std::filesystem::create_directory(archiveFolder);
  test::PutFile(archiveFolder + "/20261101_080000_2104005771.txt", "");
  test::PutFile(archiveFolder + "/20261101_080000_2104005771.records",
                "quillet-archive 1\ntime 2026-11-01 08:00:00\nscanner 2104005771\nfirmware 1\n"
                "layout older\nsettings 10001101100100\ndestination 1 \n"
                "record 8\n" +
                    std::string("\x07\0ab\0\0\0\0", 8) + "\nrecord 8\n\x07");
  Launch();
  OpenList();
  ASSERT_EQ(runs.rows().size(), 1U);
  EXPECT_EQ(runs.rows()[0], (RunRow{"2026-11-01 08:00:00", "005771", "1", "Quillet's window only",
                                    "Incomplete", "No"}));
  EXPECT_EQ(runs.preview().text(), "ab005771\n") << "composed with the settings of the run";
}

TEST_F(EarlierRunsTest, StripButtonShowsARunThatTheSearchHides) {
  Store("20261101_080000_2104005771", "2026-11-01 08:00:00", "", {"one"});
  test::PutFile(archiveFolder + "/20261101_080000_2104005771.open", "");
  Store("20261102_080000_2104005771", "2026-11-02 08:00:00", "complete 2026-11-02 08:30:00",
        {"two"});
  Launch();
  OpenList();
  runs.Search("nothing");
  ASSERT_TRUE(strip.text().starts_with("A synchronization was interrupted.")) << strip.text();
  strip.Press(0);
  Settle();
  EXPECT_EQ(States(), "Complete|Incomplete|");
  EXPECT_EQ(runs.preview().text(), "one");
}

TEST_F(EarlierRunsTest, DeletesARunAfterConfirmation) {
  RunWith({"one"});
  clock.Set({2026, 11, 17, 8, 0, 0});
  Synchronize();
  OpenList();
  runs.Select(1);
  runs.confirms = false;
  Press(&RunsActions::remove);
  EXPECT_EQ(
      runs.question(),
      "Delete the synchronization from 2026-11-16 14:07:09?|This permanently deletes 1 record from "
      "the archive. Copies saved or delivered elsewhere are not affected.");
  EXPECT_EQ(runs.rows().size(), 2U);
  runs.confirms = true;
  Press(&RunsActions::remove);
  ASSERT_EQ(runs.rows().size(), 1U);
  EXPECT_EQ(runs.rows()[0].date, "2026-11-17 08:00:00");
  EXPECT_EQ(runs.SelectedRow(), 0);
  EXPECT_FALSE(FileContents(archiveFolder + "/20261116_140709_0000123456.txt"));
  EXPECT_FALSE(FileContents(archiveFolder + "/20261116_140709_0000123456.records"));
}

TEST_F(EarlierRunsTest, ArchivesNewScansAfterEarlierOnesAreDeleted) {
  RunWith({});
  tavo.Scan("first");
  OpenList();
  Press(&RunsActions::remove);
  tavo.Scan("second");
  runs.Activate();
  Settle();
  ASSERT_EQ(States(), "Live scans|");
  EXPECT_EQ(runs.rows()[0].records, "1");
  EXPECT_EQ(runs.preview().text(), "second\n");
}

TEST_F(EarlierRunsTest, DeletingARunPreventsErasingItsScanner) {
  RunWith({"one"});
  OpenList();
  Press(&RunsActions::remove);
  controller.lumet->EraseTavoMemory();
  ASSERT_TRUE(WaitFor([&] {
    mainQueue.RunAll();
    return strip.Message().starts_with("The scanner was not erased");
  }));
  EXPECT_EQ(tavo.Commands().find("E "), std::string::npos);
}

}  // namespace
}  // namespace quillet
