"""Tests of the status strip's messages about records that do not reach another program."""

import os
import shutil

from editors import TEXT_WINDOW, TextWindow
from harness import settings
from harness.case import messages, wait_until
from harness.settings_window import SettingsWindow
from typing_case import TypingCase, data_only


class MissingApplicationTest(TypingCase):

    def test_offers_choose_button_if_application_is_missing(self):
        self.connect(["1"], data_only(destination=1))
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.choose("Deliver to", 3)
        self.quillet.wait_for_progress(messages.NO_APPLICATION)
        window.type_keys("Escape")
        window.wait_until_closed()
        wait_until(lambda: self.quillet.progress() != messages.NO_APPLICATION, "no message")
        window.open()
        window.choose("Deliver to", 3)
        window.type_keys("Return")
        window.wait_until_closed()
        self.quillet.wait_for_progress(messages.NO_APPLICATION)
        self.deliver()
        self.quillet.wait_for_progress(messages.NO_APPLICATION)

        shutil.copy(TEXT_WINDOW, "/tmp/other")
        self.addCleanup(os.unlink, "/tmp/other")
        self.quillet.type_keys("alt+c")  # an accessibility action would wait for the panel
        panel = "Choose an application to receive the records"
        wait_until(lambda: window.has_focus(panel), "the panel")
        self.desktop.xdotool("type", "/tmp/other")

        def is_accepted():
            """Presses Return and returns true if the entry was accepted. If suggestions are open,
            the first press only closes them."""
            if window.has_focus(panel):
                self.desktop.xdotool("key", "Return")
            return not window.has_focus(panel)
        wait_until(is_accepted, "the panel to close")
        wait_until(lambda: self.quillet.progress() != messages.NO_APPLICATION, "no message")
        with open(settings.PATH, encoding="ascii", newline="") as file:
            self.assertIn("/tmp/other\r", file.read())


class NoTypingTest(TypingCase):

    display_options = ["-extension", "XTEST"]

    def test_offers_the_guide_if_typing_is_not_possible(self):
        prefix = "/tmp/prefix"
        guide = f"{prefix}/share/doc/quillet/user-guide.md"
        self.addCleanup(shutil.rmtree, prefix)
        os.makedirs(os.path.dirname(guide))
        os.mkdir(f"{prefix}/bin")
        with open(guide, "w", encoding="ascii") as file:
            file.write("# Guide\n")
        with open(f"{prefix}/bin/xdg-open", "w", encoding="ascii") as file:
            file.write(f'#!/bin/sh\necho "$1" >{prefix}/opened\n')
        os.chmod(f"{prefix}/bin/xdg-open", 0o755)
        program = os.environ["SYSTEM_TEST_QUILLET"]
        shutil.copy(program, f"{prefix}/bin/quillet")
        self.addCleanup(os.environ.update, {"SYSTEM_TEST_QUILLET": program})
        os.environ["SYSTEM_TEST_QUILLET"] = f"{prefix}/bin/quillet"
        self.desktop.environment["PATH"] = f"{prefix}/bin:{os.environ['PATH']}"

        self.connect(["1"], data_only(destination=2))
        self.deliver()
        self.quillet.wait_for_progress(
            messages.NO_TYPING + "the X server has no XTEST extension.")
        self.quillet.press_in_strip("Open guide")

        def opened():
            if not os.path.exists(f"{prefix}/opened"):
                return ""
            with open(f"{prefix}/opened", encoding="ascii") as file:
                return file.read()
        wait_until(lambda: opened().strip().endswith(guide), opened)


class FirstScanTest(TypingCase):

    def test_reports_the_first_scan_typed_into_a_program(self):
        self.connect([], data_only(destination=2))
        editor = TextWindow(self)
        (scanner,) = self.scanners
        scanner.scan(4, "A-1")
        editor.wait_for_text("A-1\n")
        self.quillet.wait_for_message(
            r"A scan was typed into the active application\. To show scans only in Quillet, choose "
            r"another destination\.", "Open settings")
        self.quillet.press_in_strip("Open settings")
        window = SettingsWindow(self.desktop, self.quillet)
        window.wait_until_open()
        window.type_keys("Escape")
        window.wait_until_closed()
        editor.focus()
        scanner.scan(4, "B-2")
        editor.wait_for_text("A-1\nB-2\n")
        self.quillet.wait_for_message("")
