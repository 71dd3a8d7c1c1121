"""Tests typing with keyboard layouts other than the US layout."""

import signal

from editors import KeyWindow, Terminal, TextWindow, caps_lock, set_caps_lock
from harness.case import wait_until
from typing_case import PRINTABLE, TypingCase, data_only, lines

_TEXTS = [PRINTABLE, "4006381333931\tABC-abc_12"]
_LAYOUTS = [["us"], ["de"], ["fr"], ["gb"], ["us", "dvorak"], ["tr", "f"], ["ru"], ["ch", "fr"],
            ["de", "neo"], ["gr"], ["jp"], ["us,de"], ["ru,us"]]


class LayoutsTest(TypingCase):

    def start_typing(self, editor=KeyWindow, texts=_TEXTS, delimiter=1):
        self.connect(texts, data_only(delimiter, destination=2))
        return editor(self)

    def check_layouts(self, editor, layouts):
        window = self.start_typing(editor)
        expected = ""
        for layout in layouts:
            self.use_layout("-layout", layout[0], "-variant", (layout[1:] or [""])[0])
            self.quillet.press("Clear")
            self.deliver()
            expected += lines(_TEXTS)
            window.wait_for_text(expected)

    def test_types_every_character_with_a_dozen_layouts(self):
        self.check_layouts(KeyWindow, _LAYOUTS)

    def test_types_into_a_terminal_with_russian_and_dvorak(self):
        self.check_layouts(Terminal, [["ru"], ["us", "dvorak"]])

    def test_types_with_french_and_russian_layouts(self):
        self.check_layouts(TextWindow, [["fr"], ["ru"]])

    def test_types_while_caps_lock_is_on(self):
        window = self.start_typing()
        set_caps_lock(self.desktop, True)
        self.use_layout("-layout", "fr")
        self.deliver()
        window.wait_for_text(lines(_TEXTS))
        self.assertTrue(caps_lock(self.desktop))

    def test_types_while_shift_is_held(self):
        window = self.start_typing(texts=["abc-12"], delimiter=2)
        self.desktop.xdotool("keydown", "Shift_L")
        self.deliver()
        window.wait_for_text("abc-12")
        self.desktop.xdotool("key", "x")
        window.wait_for_text("abc-12X")

    def test_restores_the_keymap_when_closed(self):
        window = self.start_typing()
        self.use_layout("-layout", "ru,de")
        before = self.keyboard()
        self.deliver()
        window.wait_for_text(lines(_TEXTS))
        self.close()
        self.assertEqual(before, self.keyboard())

    def check_end_by(self, sign, after):
        window = self.start_typing()
        self.use_layout("-layout", "ru")
        before = self.keyboard()
        self.deliver()
        window.wait_for_text(lines(_TEXTS))
        self.assertNotEqual(before, self.keyboard())
        self.quillet.process.send(sign)
        after()
        wait_until(lambda: self.keyboard() == before, "the keymap")

    def test_restores_the_keymap_on_sigterm(self):
        self.check_end_by(signal.SIGTERM, self.quillet_ended)

    def test_restores_the_keymap_on_restart_after_being_killed(self):
        """After the restart, records are written to a file, so the program types nothing."""
        def start_again():
            wait_until(lambda: not self.quillet.process.is_running(), "the end")
            data_only(destination=0).save()
            self.start()
        self.check_end_by(signal.SIGKILL, start_again)

    def quillet_ended(self):
        self.quillet.wait_for_end()
