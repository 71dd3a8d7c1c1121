"""Tests the messages in the status strip, and their buttons."""

import os
import re
import unittest

from harness.accessibility import Unreachable
from harness.case import (FOLDER, OUTPUT, SHARED, Settings, SystemTest, messages, some_records,
                          wait_until)
from harness.file_manager import FileManager
from harness.lines import file_text
from harness.sandbox import PRIVATE_DISK
from harness.settings import PATH
from harness.settings_window import SettingsWindow

_WAITING = "Waiting for the scanner. Plug it in."
_NO_SCANNER = "No scanner is connected. Plug in the scanner, or select its port and press Connect."
_IN_ARCHIVE = "3 records are in the archive."
_INTERRUPTED = "A synchronization was interrupted. Check its records in the archive."
_OPEN, _FOLDER = "Open file", "Show in folder"


class StripTest(SystemTest):

    def wait_for_focus(self, name):
        wait_until(lambda: self.desktop.xdotool("getactivewindow", "getwindowname") == name,
                   lambda: f"focus in {name}")

    def begin(self, records=3, faults=(), **settings):
        """Starts the program with a connected scanner."""
        settings.setdefault("filename", OUTPUT)
        Settings(**settings).save()
        scanner = self.plugged_in_scanner(some_records(records))
        self.start_connected()
        scanner.fault(*faults)
        return scanner

    def selected_run(self):
        """Waits until the list of earlier synchronizations has focus, and closes it. Returns the
        cells of its selected row."""
        self.wait_for_focus("Earlier synchronizations")
        application = self.desktop.accessibility.application(self.quillet.pid)
        (dialog,) = [node for node in application.children()
                     if node.name == "Earlier synchronizations"]
        def selected_cells():
            (tree,) = [node for node in dialog.descendants() if node.role == "tree"]
            return [node.name for node in tree.children() if node.is_selected()]
        cells = wait_until(selected_cells, "a selected row")
        self.desktop.xdotool("key", "Escape")
        wait_until(lambda: (self.desktop.xdotool("getactivewindow", "getwindowname") or "")
                   .startswith("Quillet V"), "focus in the main window")
        return cells

    def settings_window(self):
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        return window

    def type_path(self, path):
        """Chooses a path in the file panel that has focus."""
        self.desktop.xdotool("key", "ctrl+a")
        self.desktop.xdotool("type", "--", path)
        self.desktop.xdotool("key", "Return")

    def name_file(self, title, path):
        """Types a path into the file panel with this title, waits until the panel shows the path,
        and presses Return."""
        application = self.desktop.accessibility.application(self.quillet.pid)

        def find_name():
            try:
                (panel,) = [node for node in application.children() if node.name == title]
                return panel.find("text", "File name:")
            except (AssertionError, Unreachable, ValueError):
                return None  # the panel is not complete yet

        name = wait_until(find_name, f"the panel {title}")
        wait_until(lambda: name.text() != "", "the proposed name")
        self.desktop.xdotool("key", "ctrl+a")
        self.desktop.xdotool("type", "--", path)
        wait_until(lambda: name.text() == path, lambda: f"{path}, not {name.text()}")
        self.desktop.xdotool("key", "Return")


class StateTest(StripTest):

    def test_says_why_buttons_have_no_effect_without_scanner(self):
        quillet = self.start()
        quillet.wait_for_message(_WAITING)
        for button in ("Connect", "Synchronize", "Settings", "Clear"):
            quillet.press(button)
            quillet.wait_for_message("Quillet is waiting for the scanner. Plug it in, or wait 20 "
                                     f"seconds and press {button} again.")
        quillet.wait_for_message(_NO_SCANNER)
        quillet.press("Connect")
        quillet.wait_for_message("No port was found. Plug in the scanner.")
        quillet.wait_for_message(_NO_SCANNER)
        quillet.press("Synchronize")
        quillet.wait_for_message(_NO_SCANNER)
        self.plugged_in_scanner()
        quillet.wait_for_connect_label("Disconnect")
        quillet.wait_for_message("")

    def test_says_why_buttons_have_no_effect_while_busy(self):
        self.plugged_in_scanner(some_records(40), faults=["on V 1 delay 3000"])
        Settings(burst_sync=0).save()
        quillet = self.start()
        quillet.wait_for_message("Connecting to the scanner on /dev/ttyACM0…")
        quillet.press("Settings")
        quillet.wait_for_message("Quillet is connecting. Wait a few seconds, then press Settings again.")
        quillet.wait_for_message("")
        quillet.press("Synchronize")
        quillet.wait_for_message("Received .*")
        quillet.press("Settings")
        quillet.wait_for_message("A synchronization is in progress. Press Settings when it has "
                                 "finished.")
        quillet.wait_for_message("40 records in .*", _OPEN, _FOLDER)


class ResultTest(StripTest):

    def test_shows_result_and_opens_the_file(self):
        opened = "/tmp/opened"
        os.mkdir("/tmp/bin")
        with open("/tmp/bin/xdg-open", "w", encoding="ascii") as script:
            script.write(f"#!/bin/sh\necho \"$1\" > {opened}\n")
        os.chmod("/tmp/bin/xdg-open", 0o755)
        manager = FileManager(self.desktop)
        Settings().save()
        scanner = self.plugged_in_scanner(some_records(3))
        self.start(environment={"PATH": "/tmp/bin:" + os.environ["PATH"]})
        self.quillet.wait_for_message("")
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        text = rf"3 records in \d+ s: {re.escape(path)}"
        self.quillet.wait_for_message(text, _OPEN, _FOLDER)
        scanner.unplug()
        self.quillet.wait_for_connect_label("Connect")
        self.quillet.wait_for_message(text, _OPEN, _FOLDER)
        self.quillet.press_in_strip(_OPEN)
        wait_until(lambda: os.path.exists(opened) and os.path.getsize(opened), "the opened file")
        with open(opened, encoding="ascii") as file:
            self.assertIn(file.read().strip(), (path, "file://" + path))
        self.quillet.press_in_strip(_FOLDER)
        wait_until(lambda: manager.shown == ["file://" + path], lambda: manager.shown)

    def test_says_that_records_are_shown_in_the_view(self):
        self.begin(destination=1)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_message(r"3 records in \d+ s, shown above")

    def test_says_how_many_records_were_not_received(self):
        for erase, erased in ((0, "The scanner was not erased. Synchronize again."),
                              (1, "The scanner was erased.")):
            with self.subTest(erase=erase):
                self.begin(faults=["on p1# 1 ignore"], burst_sync=0, clear_memory=erase)
                self.quillet.press("Synchronize")
                self.quillet.wait_for_message("1 of 3 records was not received. " + erased, "Show")
                self.quillet.press_in_strip("Show")
                self.assertIn("Incomplete", self.selected_run())
                self.end_program()

    def test_says_that_a_transfer_was_cut_off(self):
        self.begin(faults=["on P 1 length 40"], destination=1)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_message(r"Only \d records? could be read\. The scanner was not erased\. "
                                      "Turn off \"Download all records in one transfer\" and "
                                      r"synchronize again\.", "Show")

    def test_says_once_that_the_archive_has_the_only_copy(self):
        self.begin(destination=1, clear_memory=1)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_message("With the current settings, the records are saved only in the "
                                      "archive.", "Show")
        self.quillet.press_in_strip("Show")
        self.assertIn("Complete", self.selected_run())
        self.quillet.clear()
        self.synchronize(messages.EMPTY_RUN)
        self.quillet.wait_for_message("The scanner sent no records.")


class FileTest(StripTest):

    def check_not_written(self, reason, path=OUTPUT):
        self.quillet.clear()
        self.synchronize(messages.file_run(3, path))
        self.quillet.wait_for_message(f"{path} was not written: {reason}. {_IN_ARCHIVE}", "Save as…")

    def test_says_why_the_file_was_not_written(self):
        path = f"{SHARED}/missing/out.txt"
        self.begin(filename=path)
        self.check_not_written("the folder does not exist", path)
        os.mkdir(f"{SHARED}/missing", 0o555)
        self.check_not_written("permission denied", path)
        self.quillet.press_in_strip("Save as…")
        self.wait_for_focus("Save records")
        self.name_file("Save records", f"{SHARED}/saved.txt")
        self.quillet.wait_for_message(f"Saved: {SHARED}/saved.txt", _OPEN, _FOLDER)
        self.assert_file(f"{SHARED}/saved.txt", file_text(some_records(3)))

    @unittest.skipUnless(PRIVATE_DISK, "needs namespaces for a disk of limited size")
    def test_says_that_the_disk_is_full_or_read_only(self):
        self.begin()
        with open("/Users/filler", "wb", buffering=0) as filler:
            try:
                while True:
                    filler.write(bytes(1 << 20))
            except OSError:
                pass
        self.check_not_written("the disk is full")
        os.truncate("/Users/filler", 0)
        self.end_program()
        self.begin(filename="/usr/out.txt")
        self.check_not_written("the disk is read-only", "/usr/out.txt")


class SettingsTest(StripTest):

    def test_says_why_settings_were_not_saved(self):
        self.begin()
        os.chmod(FOLDER, 0o555)
        window = self.settings_window()
        window.type_keys("Return")
        text = r"The settings were not saved: permission denied\. The settings file is owned by \w+\."
        self.quillet.wait_for_message(text, "Try again")
        os.chmod(FOLDER, 0o755)
        before = os.stat(PATH).st_ino
        self.quillet.press_in_strip("Try again")
        self.quillet.wait_for_message("")
        self.assertNotEqual(before, os.stat(PATH).st_ino)

    def test_says_that_a_long_path_will_not_be_remembered(self):
        self.begin()
        window = self.settings_window()
        window.open_panel()
        long = f"{SHARED}/{'x' * 115}.txt"
        self.type_path(long)
        text = ("The path cannot be saved because it is longer than 127 bytes. "
                "Choose a shorter path.")
        self.quillet.wait_for_message(text, "Choose…")
        window.wait_until_open()
        window.type_keys("Return")
        window.wait_until_closed()
        self.quillet.wait_for_message(text, "Choose…")
        self.quillet.press_in_strip("Choose…")
        self.wait_for_focus("Choose a file for the records")
        self.type_path(OUTPUT)
        self.quillet.wait_for_message("")


class RestartTest(StripTest):

    def check_restart(self):
        """Presses "Restart Quillet". The program must start again in the same process."""
        def starts():
            return self.log.lines(self.quillet.pid).count("-[LumetFile CreateBarcodeDirectory]")
        before = starts()
        self.quillet.press_in_strip("Restart Quillet")
        wait_until(lambda: starts() == before + 1, "the program to start again")
        lines = self.log.lines(self.quillet.pid)
        self.assertIn("-[QuilletAppDelegate windowWillClose:]", lines)
        self.quillet.wait_for_restart()

    def test_offers_restart_after_unplugging_during_a_run(self):
        scanner = self.begin(40, burst_sync=0)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_message("Received [1-9].*")
        scanner.unplug()
        match = self.quillet.wait_for_message(
            r"The scanner was disconnected during the synchronization\. (\d+) records? (is|are) in "
            r"the archive\. Restart Quillet to continue\.", "Restart Quillet")
        self.quillet.press("Synchronize", "Settings", "Clear")
        self.quillet.wait_for_message(re.escape(match[0]), "Restart Quillet")
        with open(f"/proc/{self.quillet.pid}/cmdline", "rb") as file:
            arguments = file.read()
        self.check_restart()
        with open(f"/proc/{self.quillet.pid}/cmdline", "rb") as file:
            self.assertEqual(arguments, file.read())
        self.quillet.wait_for_message(_INTERRUPTED, "Show")
        self.quillet.press_in_strip("Show")
        cells = self.selected_run()
        self.assertIn("Incomplete", cells)
        self.assertIn(match[1], cells)
        self.quillet.wait_for_message(_WAITING)
        scanner.plug_in()
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()
        self.synchronize(messages.file_run(40, OUTPUT))

    def test_lists_a_burst_interrupted_during_the_transfer(self):
        scanner = self.begin(faults=["on P chunks 5 1000"])
        self.quillet.press("Synchronize")
        wait_until(lambda: "P" in scanner.commands(), "the request for a burst")
        self.quillet.kill()
        self.start()
        self.quillet.wait_for_message(_INTERRUPTED, "Show")
        self.quillet.press_in_strip("Show")
        cells = self.selected_run()
        self.assertIn("Incomplete", cells)
        self.assertIn("0", cells)

    def test_offers_restart_if_a_run_does_not_end(self):
        self.begin(faults=[f"on W {number} ignore" for number in range(1, 6)])
        self.quillet.press("Synchronize")
        self.quillet.wait_for_message("The scanner did not respond. No records were received. Restart "
                                      "Quillet to continue.", "Restart Quillet")
        self.check_restart()
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()
        self.synchronize(messages.file_run(3, OUTPUT))

    def test_automatic_run_keeps_message_about_interrupted_run(self):
        scanner = self.begin(40, burst_sync=0)
        self.synchronize(messages.RUN_STARTED + ".")
        self.quillet.kill()
        scanner.unplug()
        Settings(filename=OUTPUT, auto_sync=1).save()
        self.start()
        self.quillet.wait_for_message("A synchronization was interrupted.*", "Show")
        scanner.plug_in()
        self.quillet.wait_for_view_end(messages.count(40) + messages.FINISHED)
        self.quillet.wait_for_message("A synchronization was interrupted.*", "Show")
