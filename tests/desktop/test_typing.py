"""Records that are typed and pasted into the program that has the focus."""

import subprocess

from editors import Terminal, TextWindow, caps_lock, set_caps_lock
from harness.case import Record, Settings, SystemTest, messages
from harness.waiting import wait_until

_TIME = "2026-11-16 09:15:00"
_PRINTABLE = "".join(map(chr, range(0x20, 0x7F)))
_EVERY_KEY = [_PRINTABLE, "tab\tand\ttab", "line\nin between", _PRINTABLE[::-1], "aAbBcC zZ 0 9"]


def long_texts():
    """500 different texts that make 100,000 characters with the line feeds behind them."""
    return [(f"{number:04d} " + _PRINTABLE * 3)[:199] for number in range(500)]


def data_only(**more):
    """Settings under which a record is its data with a line feed behind it."""
    return Settings(attach_serial=0, attach_timestamp=0, attach_type=0, data_delimiter=0,
                    record_delimiter=1, **more)


class TypingTest(SystemTest):

    def prepare(self, texts, editor, settings):
        settings.save()
        self.plugged_in_scanner([Record(6, text.encode(), _TIME) for text in texts],
                                options=["--speed", "unlimited"])
        self.start_connected()
        return editor(self)

    def synchronize(self, count):
        self.quillet.press("Synchronize")
        wait_until(lambda: self.quillet.view().endswith(
            messages.count(count) + messages.FINISHED), "the end of the run", 100)

    def check_every_key(self, editor, caps):
        window = self.prepare(_EVERY_KEY, editor, data_only(destination=2))
        set_caps_lock(self.desktop, caps)
        self.synchronize(len(_EVERY_KEY))
        window.wait_for_text("".join(text + "\n" for text in _EVERY_KEY))
        self.assertEqual(caps, caps_lock(self.desktop))
        self.assertTrue(window.has_focus())
        self.assertEqual(messages.RUN_STARTED + messages.count(len(_EVERY_KEY))
                         + messages.FINISHED, self.quillet.view())

    def test_terminal_reads_every_character(self):
        self.check_every_key(Terminal, caps=False)

    def test_terminal_reads_every_character_under_caps_lock(self):
        self.check_every_key(Terminal, caps=True)

    def test_text_field_reads_every_character(self):
        self.check_every_key(TextWindow, caps=False)

    def test_text_field_reads_every_character_under_caps_lock(self):
        self.check_every_key(TextWindow, caps=True)

    def test_hundred_thousand_characters_arrive_once_and_in_order(self):
        texts = long_texts()
        window = self.prepare(texts, Terminal, data_only(destination=2))
        self.synchronize(len(texts))
        window.wait_for_text("".join(text + "\n" for text in texts), limit=100)

    def test_caps_lock_is_followed_while_the_program_runs(self):
        window = self.prepare(["aBc"], TextWindow, data_only(destination=2))
        for run, caps in enumerate((False, True, False), start=1):
            set_caps_lock(self.desktop, caps)
            self.synchronize(1)
            window.wait_for_text("aBc\n" * run)

    def test_carriage_return_is_left_out(self):
        settings = data_only(destination=2)
        settings.record_delimiter = 4
        window = self.prepare(["1", "2"], TextWindow, settings)
        self.synchronize(2)
        window.wait_for_text("1\n2\n")

    def test_record_outside_ascii_is_not_typed_and_those_around_it_are(self):
        window = self.prepare(["1", "Größe 5 €", "3"], TextWindow, data_only(destination=2))
        self.synchronize(3)
        window.wait_for_text("1\n3\n")

    def test_200_pasted_records_arrive_once_and_in_order(self):
        texts = [f"Größe {number} € – 条码 {number * 37}" for number in range(200)]
        window = self.prepare(texts, TextWindow, data_only(destination=2, non_english=1))
        self.synchronize(200)
        window.wait_for_text("".join(text + "\n" for text in texts))

    def test_live_scan_is_typed_where_the_cursor_is(self):
        data_only(destination=2).save()
        scanner = self.plugged_in_scanner()
        self.start_connected()
        window = TextWindow(self)
        scanner.scan(4, "A-1")
        window.wait_for_text("A-1\n")
        scanner.scan(4, "b_2")
        window.wait_for_text("A-1\nb_2\n")

    def test_no_key_stays_down(self):
        window = self.prepare(["AbC"] * 50, TextWindow, data_only(destination=2, non_english=0))
        self.synchronize(50)
        window.wait_for_text("AbC\n" * 50)
        # What a key that was left down would spoil.
        subprocess.run(["xdotool", "key", "x"], env=self.desktop.environment, check=True)
        window.wait_for_text("AbC\n" * 50 + "x")
