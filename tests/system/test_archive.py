"""Tests the window Earlier synchronizations."""

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio  # noqa: E402

from harness.case import OUTPUT, SHARED, Settings, SystemTest, messages, some_records, wait_until
from harness.lines import file_text


class EarlierSynchronizationsTest(SystemTest):

    def xdotool(self, *arguments):
        return self.desktop.xdotool(*arguments)

    def wait_for_focus(self, name):
        wait_until(lambda: self.xdotool("getactivewindow", "getwindowname") == name,
                   lambda: f"focus in {name}, not in "
                           f"{self.xdotool('getactivewindow', 'getwindowname')}")

    def dialog(self):
        application = self.desktop.accessibility.application(self.quillet.pid)
        (dialog,) = [node for node in application.children()
                     if node.name == "Earlier synchronizations"]
        return dialog

    def open(self):
        self.quillet.type_keys("ctrl+e")
        self.wait_for_focus("Earlier synchronizations")

    def rows(self):
        """Returns the texts of all cells, row by row."""
        (tree,) = [node for node in self.dialog().descendants() if node.role == "tree"]
        return [node.name for node in tree.children() if "header" not in node.role]

    def wait_for_message(self, text):
        wait_until(lambda: text in [node.name for node in self.dialog().descendants()
                                    if node.role == "label"],
                   lambda: f"the message {text!r} in\n{self.dialog().tree()}")

    def test_lists_saves_and_redelivers_records(self):
        records = some_records(3)
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        self.start_connected()
        self.synchronize(messages.file_run(3, OUTPUT))
        self.open()
        date, *cells = self.rows()
        self.assertRegex(date, r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$")
        self.assertEqual(["005771", "3", OUTPUT, "Complete", "No"], cells)

        saved = f"{SHARED}/saved.txt"
        self.xdotool("key", "Return")
        self.wait_for_focus("Save records")
        self.xdotool("key", "ctrl+a")
        self.xdotool("type", saved)
        self.xdotool("key", "Return")
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
        self.wait_for_generated_file()
        self.open()
        self.xdotool("key", "alt+f")
        wait_until(lambda: calls, "a call to the file manager")
        ((path,), startup_id), = calls
        self.assertRegex(path, r"^file:///.*/quillet/runs/\d{8}_\d{6}_2104005771\.txt$")
        self.assertEqual("", startup_id)
