"""The program's windows ignore the keys that the program itself presses, but accept all others."""

from editors import Terminal
from harness.archive import archived_records, stored
from harness.case import Record, messages, wait_until
from harness.settings import FOLDER, PATH
from harness.settings_window import SettingsWindow
from typing_case import TypingCase, data_only

# Space and Return press buttons. The letters are mnemonics.
_TEXTS = [f"{number} S q c l k Set \t a b C o d e" for number in range(300)]
_DELIVERED = "-[SyncController DisplayBarcode:]"


class OwnWindowsTest(TypingCase):

    def start_with_focus_on_connect(self, **settings):
        """Starts the program without a scanner and moves the focus to the Connect button."""
        data_only(destination=2, **settings).save()
        self.start()
        self.quillet.type_keys("Tab", "Tab")

    def plug_in(self, texts=tuple(_TEXTS)):
        self.records = [Record(6, text.encode(), "2026-11-16 09:15:00") for text in texts]
        return self.plugged_in_scanner(self.records, options=["--speed", "unlimited"])

    def wait_for_run(self, count=len(_TEXTS)):
        self.quillet.wait_for_view_end(messages.count(count) + messages.FINISHED)

    def assert_connected(self):
        self.assertEqual("Disconnect", self.quillet.connect_label())
        self.assertNotIn(messages.disconnected(), self.quillet.view())
        self.assertEqual(1, self.quillet.view().count(messages.RUN_STARTED))

    def deliver_scans(self, scanner):
        """Scans two barcodes. Returns after the first one has been typed."""
        before = self.log.lines().count(_DELIVERED)
        scanner.scan(4, "c q s")
        scanner.scan(4, "c q s")
        self.log.wait_for(_DELIVERED, before + 2)

    def test_keys_of_automatic_run_press_no_buttons(self):
        self.start_with_focus_on_connect(auto_sync=1)
        self.plug_in()
        self.wait_for_run()
        self.assert_connected()
        self.quillet.wait_for_progress(messages.OWN_WINDOW)
        self.assertEqual([stored(record) for record in self.records],
                         archived_records()[-len(self.records):])
        self.quillet.type_keys("space")
        self.quillet.wait_for_connect_label("Connect")

    def wait_for_list(self):
        wait_until(lambda: self.desktop.xdotool("getactivewindow", "getwindowname")
                   == "Earlier synchronizations", "the list")

    def test_user_can_open_earlier_runs_during_a_run(self):
        texts = [f"Größe {number}" for number in range(30)]  # pasting takes 0.2 s each
        self.start_with_focus_on_connect(auto_sync=1, non_english=1)
        self.plug_in(texts)
        wait_until(lambda: messages.RUN_STARTED in self.quillet.view(), "the run")
        self.desktop.xdotool("key", "ctrl+e")
        self.wait_for_list()
        self.assertNotIn(messages.FINISHED, self.quillet.view())
        self.wait_for_run(len(texts))
        self.desktop.xdotool("key", "Escape")
        self.assert_connected()

    def test_scans_do_not_change_the_settings(self):
        self.connect([], data_only(destination=2))
        (scanner,) = self.scanners
        settings = SettingsWindow(self.desktop, self.quillet)
        settings.open()
        settings.box("Erase the scanner after each synchronization").grab_focus()
        self.deliver_scans(scanner)
        self.deliver_scans(scanner)
        self.assertTrue(settings.is_open())
        settings.type_keys("space", "Return")  # the user turns the box on and saves
        settings.wait_until_closed()
        with open(PATH, encoding="ascii", newline="") as file:
            self.assertEqual(data_only(destination=2, clear_memory=1).text(), file.read())

    def test_scans_do_not_select_menu_items(self):
        self.connect([], data_only(destination=2))
        (scanner,) = self.scanners
        self.quillet.type_keys("alt+s")
        wait_until(lambda: len(self.quillet.windows()) == 2, "the menu")
        self.deliver_scans(scanner)
        self.assertEqual(2, len(self.quillet.windows()))
        self.desktop.xdotool("key", "Escape")
        wait_until(lambda: len(self.quillet.windows()) == 1, "the menu to close")
        self.desktop.xdotool("key", "ctrl+e")
        self.wait_for_list()
        self.deliver_scans(scanner)
        self.desktop.xdotool("key", "Escape")
        wait_until(lambda: self.desktop.xdotool("getactivewindow") == self.quillet.window(),
                   "the main window")
        self.assertEqual("Disconnect", self.quillet.connect_label())

    def check_file_panel(self, **settings):
        self.connect([], data_only(destination=2, **settings))
        (scanner,) = self.scanners
        settings = SettingsWindow(self.desktop, self.quillet)
        settings.open()
        settings.choose("Deliver to", 0)
        settings.open_panel()
        self.deliver_scans(scanner)
        self.deliver_scans(scanner)
        self.assertTrue(settings.has_focus("Choose a file for the records"))
        self.desktop.xdotool("key", "1", "Return")
        wait_until(settings.has_focus, "the settings window")
        self.assertEqual(f"{FOLDER}/1", settings.field("Path").text())
        settings.type_keys("Escape")
        settings.wait_until_closed()

    def test_typed_scans_do_not_change_a_file_panel(self):
        self.check_file_panel()

    def test_pasted_scans_do_not_change_a_file_panel(self):
        self.check_file_panel(non_english=1)

    def test_survives_focus_changes_during_a_run(self):
        self.start_with_focus_on_connect(auto_sync=1)
        editor = Terminal(self)
        self.plug_in(_TEXTS * 3)
        wait_until(lambda: messages.RUN_STARTED in self.quillet.view(), "the run")
        while not self.quillet.view().endswith(messages.FINISHED):
            self.desktop.xdotool("windowactivate", "--sync", editor.window)
            self.desktop.xdotool("windowactivate", "--sync", self.quillet.window())
        self.assert_connected()
        self.assertTrue(editor.text())
