"""Tests the settings window through the accessibility interface and with the keyboard."""

from harness.case import OUTPUT, Record, Settings, SystemTest, messages, wait_until
from harness.settings import PATH
from harness.settings_window import SettingsWindow

# The record that the window's sample line shows.
_SAMPLE = Record(symbology=0, data=b"9780306406157", time="2026-11-16 14:07:09")


def with_symbols(text):
    """Replaces invisible characters with the symbols that the sample shows."""
    for invisible, visible in (("\r\n", "⏎"), ("\r", "←"), ("\n", "↓"), ("\t", "→"), (" ", "␣")):
        text = text.replace(invisible, visible)
    return text


class SettingsWindowTest(SystemTest):

    def start_with_window(self):
        self.plugged_in_scanner([_SAMPLE])
        self.start_connected()
        self.window = SettingsWindow(self.desktop, self.quillet)

    def save(self):
        self.window.type_keys("Return")
        self.window.wait_until_closed()

    def wait_for_settings_file(self, settings):
        def contents():
            with open(PATH, "rb") as file:
                return file.read().decode()
        wait_until(lambda: contents() == settings.text(),
                   lambda: f"the settings file {settings}; it is {contents()!r}")

    def test_works_without_a_mouse(self):
        self.start_with_window()
        self.quillet.type_keys("ctrl+comma")
        self.window.wait_until_open()
        # Clears "Symbology", selects LF after each record, and selects delivery to the view.
        self.window.type_keys("space", *["Tab"] * 6, "Home", "Down")
        self.window.type_keys(*["Tab"] * 5, "Home", "Down")
        self.save()
        self.wait_for_settings_file(Settings(attach_type=0, record_delimiter=1, destination=1))
        self.quillet.type_keys("ctrl+l")
        self.quillet.wait_for_view("")
        self.quillet.type_keys("ctrl+r")
        shown = (messages.RUN_STARTED + "9780306406157,[2026/11/16:14:07:09],005771\n"
                 + "1 barcodes synchronized\n" + messages.FINISHED)
        self.quillet.wait_for_view(shown)
        self.quillet.type_keys("ctrl+a", "ctrl+c")
        self.assertEqual(shown, self.desktop.clipboard_text())
        self.quillet.type_keys("ctrl+w")
        self.quillet.wait_for_end()

    def test_sample_line_matches_the_file(self):
        Settings(filename=OUTPUT).save()
        self.start_with_window()
        for delimiter, order, place in ((1, 5, 0), (2, 3, 1), (4, 0, 0)):
            self.window.open()
            self.window.choose("Between fields", delimiter)
            self.window.choose("Order", order)
            self.window.choose("Serial number position", place)
            sample = self.window.field("Line from an older scanner").text()
            self.save()
            self.quillet.press("Clear")
            self.quillet.wait_for_view("")
            self.synchronize(messages.file_run(1, OUTPUT))
            with open(OUTPUT, encoding="utf-8", newline="") as file:
                self.assertEqual(sample, with_symbols(file.read()))
