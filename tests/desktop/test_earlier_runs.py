"""Delivers an earlier run again by typing into another program."""

from editors import TextWindow
from harness.case import wait_until
from harness.settings_window import SettingsWindow
from typing_case import TypingCase, data_only, lines


class DeliverAgainTest(TypingCase):

    def test_redelivers_when_another_window_gets_focus(self):
        texts = ["4006381333931", "0012345"]
        editor = TextWindow(self)
        self.connect(texts, data_only(destination=1))
        self.deliver()
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.choose("Deliver to", 2)
        window.type_keys("Return")
        window.wait_until_closed()

        self.quillet.type_keys("ctrl+e")
        wait_until(lambda: self.desktop.xdotool("getactivewindow", "getwindowname")
                   == "Earlier synchronizations", "the list")
        self.desktop.xdotool("key", "alt+d")
        self.quillet.wait_for_progress(
            "Waiting to deliver. Click the target window.")
        self.assertEqual("", editor.text())
        editor.focus()
        editor.wait_for_text(lines(texts))
        self.quillet.wait_for_progress("2 records delivered.")
