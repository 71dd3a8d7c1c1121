"""Tests the window Earlier synchronizations."""

import os
import shutil

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio  # noqa: E402

from harness.accessibility import Unreachable
from harness.archive import FOLDER, records_files
from harness.case import OUTPUT, SHARED, Settings, SystemTest, messages, some_records, wait_until
from harness.lines import file_text

WINDOW = "Earlier synchronizations"
COLUMNS = 6


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
        """Waits until read() returns `expected`, while windows and controls come and go."""
        found = []

        def is_there():
            try:
                found[:] = [read()]
            except (Unreachable, ValueError):  # a window has just opened or closed
                return False
            return found == [expected]

        wait_until(is_there, lambda: f"{expected!r}, not {found!r}")

    def open(self, *rows):
        """Opens the window and waits until it lists these rows. A row is a list of the texts of its
        cells, without the date."""
        self.quillet.type_keys("ctrl+e")
        self.wait_for_focus(WINDOW)
        self.wait_for_rows(*rows)

    def rows(self):
        """Returns the texts of all cells, row by row."""
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
        """Waits for a file panel, enters a path and accepts."""
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
        wait_until(lambda: self.xdotool("getactivewindow", "getwindowname").startswith("Quillet V"),
                   "focus in the main window")

    def own_file_manager(self):
        """Replaces the desktop's file manager. Returns a list that records its calls."""
        calls = []

        def receive(connection, message, incoming, *_data):
            if incoming and message.get_member() == "ShowItems":
                calls.append(message.get_body().unpack())
                connection.send_message(message.new_method_reply(), Gio.DBusSendMessageFlags.NONE)
                return None
            return message

        flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
                 | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        self.bus = Gio.DBusConnection.new_for_address_sync(
            self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)
        self.bus.add_filter(receive)
        Gio.bus_own_name_on_connection(self.bus, "org.freedesktop.FileManager1",
                                       Gio.BusNameOwnerFlags.NONE, None, None)
        return calls

    def test_shows_the_file_in_the_file_manager(self):
        calls = self.own_file_manager()
        self.plugged_in_scanner(some_records(1))
        self.start_connected()
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        self.open(["005771", "1", path, "Complete", "No"])
        self.xdotool("key", "alt+f")
        wait_until(lambda: calls, "a call to the file manager")
        ((path,), startup_id), = calls
        self.assertRegex(path, r"^file:///.*/quillet/runs/\d{8}_\d{6}_2104005771\.txt$")
        self.assertEqual("", startup_id)
