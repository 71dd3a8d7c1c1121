"""Tests of pasting records through the clipboard."""

import os
import signal
import subprocess

from editors import PROGRAMS, TextWindow
from harness.processes import Process
from typing_case import TypingCase, data_only, lines


class ClipboardTest(TypingCase):

    def clipboard_owner(self, argument):
        owner = Process("clipboard-owner", ["/usr/bin/python3", f"{PROGRAMS}/clipboard_owner.py",
                                            argument], self.desktop.environment,
                        stdout=subprocess.PIPE)
        self.addCleanup(owner.stop)
        self.assertEqual(b"ready\n", owner.stdout.readline())
        return owner

    def paste(self, texts):
        self.connect(texts, data_only(destination=2, non_english=1))
        self.deliver()

    def test_clipboard_keeps_last_record_after_closing(self):
        self.clipboard_owner("--manager")
        self.paste(["first", "Größe 条"])
        self.close()
        self.assertEqual("Größe 条\n", self.desktop.clipboard_text())

    def test_clipboard_keeps_last_record_after_sigterm(self):
        self.clipboard_owner("--manager")
        self.paste(["first", "last"])
        self.quillet.process.send(signal.SIGTERM)
        self.quillet.wait_for_end()
        self.assertEqual("last\n", self.desktop.clipboard_text())

    def test_closes_if_the_clipboard_manager_hangs(self):
        manager = self.clipboard_owner("--manager")
        self.paste(["last"])
        os.kill(manager.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, manager.pid, signal.SIGCONT)
        self.close()

    def test_pastes_into_a_slow_program(self):
        texts = [f"record {number}" for number in range(10)]
        self.connect(texts, data_only(destination=2, non_english=1))
        window = TextWindow(self, paste_delay=0.3)
        self.deliver()
        window.wait_for_text(lines(texts))

    def test_pastes_records_after_other_programs_copy_text(self):
        self.connect([], data_only(destination=2, non_english=1))
        window = TextWindow(self)
        (scanner,) = self.scanners
        for record in ("A-1", "B-2"):
            self.clipboard_owner("old contents")
            text = window.text()
            scanner.scan(4, record)
            window.wait_for_text(text + lines([record]))
