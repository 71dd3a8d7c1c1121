"""Tests the "Earlier synchronizations" window."""

import os
import re
import shutil

from harness.accessibility import Unreachable
from harness.archive import FOLDER, records_files, stored
from harness.case import (OUTPUT, SHARED, Record, Settings, SystemTest, messages, some_records,
                          wait_until)
from harness.file_manager import FileManager
from harness.lines import file_text, view_text

WINDOW = "Earlier synchronizations"
CSV = "Export as CSV"
COLUMNS = 6
LARGE_FILE = 20_000_000  # a run continues in a new file after this many bytes


class EarlierSynchronizationsTest(SystemTest):

    def setUp(self):
        shutil.rmtree(FOLDER, ignore_errors=True)
        super().setUp()

    def xdotool(self, *arguments):
        return self.desktop.xdotool(*arguments)

    def wait_for_focus(self, name):
        wait_until(lambda: self.xdotool("getactivewindow", "getwindowname") == name,
                   lambda: f"focus in {name}, not in "
                           f"{self.xdotool('getactivewindow', 'getwindowname')}")

    def dialog(self, name=WINDOW):
        application = self.desktop.accessibility.application(self.quillet.pid)
        (dialog,) = [node for node in application.children() if node.name == name]
        return dialog

    def wait_for_text(self, expected, read):
        """Waits until read() returns `expected`. Ignores errors while windows open or close."""
        found = []

        def is_there():
            try:
                found[:] = [read()]
            except (AssertionError, Unreachable, ValueError):  # a window is opening or closing
                return False
            return found == [expected]

        wait_until(is_there, lambda: f"{expected!r}, not {found!r}")

    def open(self, *rows):
        """Opens the window and waits until it lists these rows. Each row is a list of cell texts,
        without the date."""
        self.quillet.type_keys("ctrl+e")
        self.wait_for_focus(WINDOW)
        self.wait_for_rows(*rows)

    def rows(self):
        """Returns the text of every cell, row by row."""
        tree = self.dialog().find("tree")
        texts = [node.name for node in tree.children() if "header" not in node.role]
        return [texts[i:i + COLUMNS] for i in range(0, len(texts), COLUMNS)]

    def wait_for_rows(self, *expected):
        self.wait_for_text(list(expected), lambda: [row[1:] for row in self.rows()])

    def wait_for_message(self, text):
        def message():
            return text if text in [node.name for node in self.dialog().descendants()
                                    if node.role == "label"] else self.dialog().tree()
        self.wait_for_text(text, message)

    def save_as(self, panel, proposed, path):
        """Waits for a file panel with the proposed name, enters a path and presses Return."""
        self.wait_for_focus(panel)

        def name():
            return self.dialog(panel).find("text", "File name:").text()
        self.wait_for_text(proposed, name)
        self.xdotool("key", "ctrl+a")
        self.xdotool("type", path)
        self.wait_for_text(path, name)
        self.xdotool("key", "Return")
        self.wait_for_focus(WINDOW)

    def test_lists_saves_and_redelivers_records(self):
        records = some_records(3)
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        self.start_connected()
        self.synchronize(messages.file_run(3, OUTPUT))
        self.open(["005771", "3", OUTPUT, "Complete", "No"])
        self.assertRegex(self.rows()[0][0], r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$")
        (archived,) = records_files()

        saved = f"{SHARED}/saved.txt"
        self.xdotool("key", "Return")
        self.save_as("Save records", os.path.basename(archived).replace(".records", ".txt"), saved)
        self.wait_for_message("Saved: " + saved)
        self.assert_file(saved, file_text(records))

        self.xdotool("key", "alt+d")
        again = OUTPUT.replace(".txt", "_2.txt")
        self.wait_for_message("3 records delivered to " + again)
        self.assert_file(again, file_text(records))
        self.assert_file(OUTPUT, file_text(records))

        self.xdotool("key", "Escape")
        # xdotool fails while no window is active.
        wait_until(lambda: (self.xdotool("getactivewindow", "getwindowname") or "").startswith(
                       "Quillet V"),
                   "focus in the main window")

    def csv(self, name, choice, key):
        """Exports the selected run to a CSV file and returns the file's contents. Presses `key` to
        select the option `choice`."""
        path = f"{SHARED}/{name}"
        self.xdotool("key", "alt+x")
        self.wait_for_focus(CSV)
        self.xdotool("key", key)
        self.wait_for_text(True,
                           lambda: self.dialog(CSV).find("radio button", choice).is_checked())
        self.xdotool("key", "Return")
        (run,) = records_files()[:1]
        self.save_as(CSV, os.path.basename(run).replace(".records", ".csv"), path)
        self.wait_for_message("Saved: " + path)
        with open(path, encoding="utf-8-sig", newline="") as file:
            return file.read()

    def test_searches_copies_exports_and_deletes_runs(self):
        settings = Settings(destination=1, attach_timestamp=0)
        settings.save()
        time = "2026-11-16 14:07:09"
        records = [Record(0, b"0012345678905", time), Record(4, b"=1+1", time),
                   Record(0, b"0012345678905", time)]
        scanner = self.plugged_in_scanner(records)
        self.start_connected()
        view = (messages.RUN_STARTED + view_text(records, settings) + messages.count(3)
                + messages.FINISHED)
        self.synchronize(view)
        scanner.scan(4, "LIVE-1")
        self.quillet.wait_for_view_end("Code 39,LIVE-1,005771\n")
        run = ["005771", "3", "Quillet's window only", "Complete", "No"]
        day = ["005771", "1", "Quillet's window only", "Live scans", ""]
        self.open(day, run)

        self.xdotool("key", "ctrl+f")
        self.xdotool("type", "complete window")
        self.wait_for_rows(run)
        self.xdotool("key", "Return", "ctrl+c")
        self.wait_for_message("3 records copied to the clipboard.")
        self.assertEqual(file_text(records, settings), self.desktop.clipboard_text().replace("\n", "\r\n"))
        article = '"EAN 13","0012345678905","2026-11-16 14:07:09","005771"\r\n'
        self.assertEqual('"Symbology","Barcode","Time","Serial number"\r\n' + article
                         + article.replace("EAN 13", "Code 39").replace("0012345678905", "'=1+1")
                         + article, self.csv("records.csv", "One row per record", "alt+r"))
        self.assertEqual('"Symbology","Barcode","Quantity"\r\n"EAN 13","0012345678905",2\r\n'
                         '"Code 39","\'=1+1",1\r\n',
                         self.csv("barcodes.csv", "One row per barcode, with its quantity",
                                  "alt+b"))
        before = self.quillet.view()
        self.xdotool("key", "alt+d")
        self.wait_for_message("3 records shown in Quillet's window.")
        self.quillet.wait_for_view(before + view_text(records, settings))

        for keys, rows in ((["Return"], [run]), (["alt+d"], [])):
            self.xdotool("key", "Delete")
            self.wait_for_focus("Delete")
            self.xdotool("key", *keys)
            self.wait_for_focus(WINDOW)
            self.wait_for_rows(*rows)
        self.xdotool("key", "ctrl+f", "ctrl+a", "BackSpace")
        self.wait_for_rows(day)
        self.assertEqual(1, len(records_files()))

    def plant(self, time, records, lines, end=None, serial="2104005771", part=""):
        """Creates the archived files of a run with an older scanner. `records` are in that
        scanner's layout. `part` is added to the file names."""
        stamp = re.sub("[-:]", "", time).replace(" ", "_")
        serial_and_part = serial + part
        os.makedirs(FOLDER, exist_ok=True)
        with open(f"{FOLDER}/{stamp}_{serial_and_part}.records", "wb") as file:
            file.write(f"quillet-archive 1\ntime {time}\nscanner {serial}\nfirmware 1\n"
                       f"layout older\nsettings 11134101\ndestination 1 \n"
                       f"burst {len(records)}\n".encode() + records
                       + f"\nend {end or 'complete ' + time}\n".encode())
        with open(f"{FOLDER}/{stamp}_{serial_and_part}.txt", "w", encoding="utf-8") as file:
            file.write(lines)

    def test_keeps_100_runs_and_joins_parts_of_a_large_run(self):
        (record,) = some_records(1)
        for number in range(105):
            self.plant(f"2026-10-{1 + number // 60:02d} 10:{number % 60:02d}:00", stored(record),
                       "", serial="2104000001")
        settings = Settings(filename=OUTPUT, attach_timestamp=0, attach_serial=0, data_delimiter=4)
        count = LARGE_FILE // len(stored(record)) + 1
        self.plant("2026-10-03 08:00:00", count * stored(record), count * "one\r\n",
                   "continued 2026-10-03 08:59:59")
        self.plant("2026-10-03 08:00:00", stored(record), "two\r\n", part="_part02")
        settings.save()
        self.plugged_in_scanner([record])
        self.start_connected()
        self.synchronize(messages.file_run(1, OUTPUT))
        wait_until(lambda: len(records_files()) == 101, "100 runs")
        self.quillet.type_keys("ctrl+e")
        self.wait_for_text(100, lambda: len(self.rows()))
        self.xdotool("key", "ctrl+f")
        self.xdotool("type", "2026-10-03")
        self.wait_for_rows(["005771", str(count + 1), "Quillet's window only", "Complete", "No"])
        self.xdotool("key", "Return", "alt+d")
        again = OUTPUT.replace(".txt", "_2.txt")
        self.wait_for_message(f"{count + 1} records delivered to {again}")
        self.assert_file(again, (count + 1) * file_text([record], settings))

    def test_shows_the_file_in_the_file_manager(self):
        manager = FileManager(self.desktop)
        self.plugged_in_scanner(some_records(1))
        self.start_connected()
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        self.open(["005771", "1", path, "Complete", "No"])
        self.xdotool("key", "alt+f")
        wait_until(lambda: manager.startup_ids, "a call to the file manager")
        (path,) = manager.shown
        self.assertRegex(path, r"^file:///.*/quillet/runs/\d{8}_\d{6}_2104005771\.txt$")
        self.assertEqual([""], manager.startup_ids)
