"""Tests typing and pasting records into the window that has focus."""

import subprocess

from editors import Terminal, TextWindow, caps_lock, set_caps_lock
from harness.case import messages
from typing_case import PRINTABLE, TypingCase, data_only, lines, long_texts

_EVERY_KEY = [PRINTABLE, "tab\tand\ttab", "line\nin between", PRINTABLE[::-1], "aAbBcC zZ 0 9"]


class TypingTest(TypingCase):

    def check(self, texts, expected=None, editor=TextWindow, limit=40, **settings):
        """Delivers the texts to an editor and waits until it contains the expected text. Returns
        the editor."""
        self.connect(texts, data_only(destination=2, **settings))
        window = editor(self)
        self.deliver()
        window.wait_for_text(lines(texts) if expected is None else expected, limit)
        return window

    def check_every_key(self, editor, caps):
        self.connect(_EVERY_KEY, data_only(destination=2))
        window = editor(self)
        set_caps_lock(self.desktop, caps)
        self.deliver()
        window.wait_for_text(lines(_EVERY_KEY))
        self.assertEqual(caps, caps_lock(self.desktop))
        self.assertTrue(window.has_focus())
        self.assertEqual(messages.RUN_STARTED + messages.count(len(_EVERY_KEY))
                         + messages.FINISHED, self.quillet.view())

    def test_types_every_key_into_a_terminal(self):
        self.check_every_key(Terminal, caps=False)

    def test_types_into_a_terminal_while_caps_lock_is_on(self):
        self.check_every_key(Terminal, caps=True)

    def test_types_every_key_into_a_text_field(self):
        self.check_every_key(TextWindow, caps=False)

    def test_types_into_a_text_field_while_caps_lock_is_on(self):
        self.check_every_key(TextWindow, caps=True)

    def test_types_100000_characters_in_order(self):
        self.check(long_texts(), editor=Terminal, limit=100)

    def test_follows_caps_lock_changes(self):
        self.connect(["aBc"], data_only(destination=2))
        window = TextWindow(self)
        for run, caps in enumerate((False, True, False), start=1):
            set_caps_lock(self.desktop, caps)
            self.deliver()
            window.wait_for_text("aBc\n" * run)

    def test_pastes_200_records_in_order(self):
        self.check([f"Größe {number} € – 条码 {number * 37}" for number in range(200)],
                   non_english=1)

    def test_types_live_scans(self):
        self.connect([], data_only(destination=2))
        window = TextWindow(self)
        (scanner,) = self.scanners
        scanner.scan(4, "A-1")
        window.wait_for_text("A-1\n")
        scanner.scan(4, "b_2")
        window.wait_for_text("A-1\nb_2\n")

    def test_releases_all_keys(self):
        window = self.check(["AbC"] * 50, non_english=0)
        # A modifier key that is still pressed would change the next character.
        subprocess.run(["xdotool", "key", "x"], env=self.desktop.environment, check=True)
        window.wait_for_text("AbC\n" * 50 + "x")
