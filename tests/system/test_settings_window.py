"""The settings window of the shipped program, by assistive technology and by keys."""

from harness.case import FOLDER, Record, Settings, SystemTest, messages, wait_until
from harness.settings import PATH
from harness.settings_window import SettingsWindow

# Each box and list with its field of the settings.
_BOXES = {
    "Symbology": "attach_type",
    "Time of the scan": "attach_timestamp",
    "Scanner's serial number": "attach_serial",
    "Set the scanner's clock to the computer's time": "sync_clock",
    "Synchronize automatically": "auto_sync",
    "Fetch all records in one transfer": "burst_sync",
    "Erase the scanner after synchronizing": "clear_memory",
    "Add to the file instead of replacing it": "append_data",
    "Paste instead of typing, for text beyond English": "non_english",
}
_LISTS = {
    "Order": "data_order",
    "Serial number's place": "serial_position",
    "Between fields": "data_delimiter",
    "After each record": "record_delimiter",
    "Deliver to": "destination",
}

# The record that the window's sample is made of.
_SAMPLE = Record(symbology=0, data=b"9780306406157", time="2026-11-16 14:07:09")


def spelled(text):
    for invisible, visible in (("\r\n", "⏎"), ("\r", "␍"), ("\n", "␊"), ("\t", "→"), (" ", "␣")):
        text = text.replace(invisible, visible)
    return text


class SettingsWindowTest(SystemTest):

    def start_with_window(self, records=()):
        self.plugged_in_scanner(records)
        self.start_connected()
        self.window = SettingsWindow(self.desktop, self.quillet)

    def wait_for_settings_file(self, settings):
        def contents():
            with open(PATH, "rb") as file:
                return file.read().decode()
        wait_until(lambda: contents() == settings.text(),
                   lambda: f"the settings file {settings}; it is {contents()!r}")

    def test_every_control_is_saved_and_shown_after_a_new_start(self):
        self.start_with_window()
        self.window.open()
        for name, field in _BOXES.items():
            self.assertEqual(getattr(Settings(), field), self.window.box(name).is_checked(), name)
            self.window.box(name).act("Toggle")
        for name, field in _LISTS.items():
            self.assertEqual(getattr(Settings(), field), self.window.chosen(name), name)
            self.window.choose(name, 1)
        self.window.press("Save")
        self.window.wait_until_closed()
        # What is on goes off and the other way round.
        toggled = {field: 1 - getattr(Settings(), field) for field in _BOXES.values()}
        chosen = {field: 1 for field in _LISTS.values()}
        saved = Settings(**toggled, **chosen)
        self.wait_for_settings_file(saved)
        self.close()

        # The clock is not set any more, and an empty run is made at once.
        self.start()
        self.quillet.wait_for_view_end(messages.FINISHED)
        self.window = SettingsWindow(self.desktop, self.quillet)
        self.window.open()
        for name, field in _BOXES.items():
            self.assertEqual(toggled[field], self.window.box(name).is_checked(), name)
        for name in _LISTS:
            self.assertEqual(1, self.window.chosen(name), name)
        self.window.type_keys("Escape")
        self.window.wait_until_closed()

    def test_file_holds_what_the_sample_showed(self):
        path = f"{FOLDER}/out.txt"
        Settings(filename=path).save()
        self.start_with_window([_SAMPLE])
        for delimiter, order, place in ((1, 5, 0), (2, 3, 1), (4, 0, 0)):
            self.window.open()
            self.window.choose("Between fields", delimiter)
            self.window.choose("Order", order)
            self.window.choose("Serial number's place", place)
            sample = self.window.field("Older scanners").text()
            self.window.type_keys("Return")
            self.window.wait_until_closed()
            self.quillet.press("Clear")
            self.quillet.wait_for_view("")
            self.quillet.press("Synchronize")
            self.quillet.wait_for_view(messages.file_run(1, path))
            with open(path, encoding="utf-8", newline="") as file:
                self.assertEqual(sample, spelled(file.read()))

    def test_window_does_not_open_while_synchronizing(self):
        path = f"{FOLDER}/out.txt"
        Settings(filename=path).save()
        self.plugged_in_scanner([_SAMPLE], faults=["on P delay 2000"])
        self.start_connected()
        self.window = SettingsWindow(self.desktop, self.quillet)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.RUN_STARTED)
        self.quillet.press("Settings")
        self.log.wait_for(f"-[SyncController settingsButton:][{path},/Applications/TextEdit]")
        self.assertFalse(self.window.is_open())
        self.quillet.wait_for_view(messages.file_run(1, path))
        self.assertFalse(self.window.is_open())

    def test_typed_path_is_not_used_and_escape_drops_everything(self):
        self.start_with_window()
        self.window.open()
        self.window.field("Path").grab_focus()
        self.window.type_keys("ctrl+a", "x", "Return")
        self.window.wait_until_closed()
        self.wait_for_settings_file(Settings())
        self.window.open()
        self.assertEqual(Settings().filename, self.window.field("Path").text())
        self.window.choose("Between fields", 0)
        self.window.type_keys("Escape")
        self.window.wait_until_closed()
        self.wait_for_settings_file(Settings())
