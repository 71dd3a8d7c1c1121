"""Tests that another user's settings take effect only after the current user confirms them."""

import os
import shutil
import stat

from harness import other_user
from harness.accessibility import Unreachable
from harness.case import (BURST, CHAIN, FOLDER, SHARED, OtherUserTest, Settings, messages,
                          some_records, wait_until)
from harness.settings import PATH
from harness.settings_window import SettingsWindow

_STATE = "/tmp/.local/state/quillet"  # HOME is /tmp
_PRIVATE = "/tmp/private.txt"
_TOOL = f"{SHARED}/tool"
_STARTED = "/tmp/started"  # _TOOL creates this file
_ERASE_BOX = "Erase the scanner after each synchronization"
_MESSAGE = (f"Some settings from {other_user.NAME} have not been applied yet. Press Review to see "
            "what they do.")
_REVIEW = "Review…"
_START_EFFECT = f"Open this application and deliver the records to it: {_TOOL}"
_REPLACE_EFFECT = f"Replace the contents of this file with the records of each synchronization: {_PRIVATE}"
_RUN_EFFECT = "Synchronize as soon as the scanner is connected"
_ERASE_EFFECT = "Erase the scanner after each synchronization"


class ForeignSettingsTest(OtherUserTest):

    def setUp(self):
        super().setUp()
        self.addCleanup(shutil.rmtree, _STATE, ignore_errors=True)
        with open(_PRIVATE, "w", encoding="ascii") as file:
            file.write("private")
        other_user.run(f"printf '#!/bin/sh\\ntouch {_STARTED}\\n' > {_TOOL}; chmod 755 {_TOOL}")
        self.records = some_records(2)

    def save_as_other_user(self, **settings):
        with open("/tmp/settings", "w", encoding="ascii", newline="") as file:
            file.write(Settings(attach_serial=0, attach_timestamp=0, attach_type=0,
                                record_delimiter=1, **settings).text())
        other_user.run(f"mkdir -p {FOLDER}; cp /tmp/settings {PATH}")

    def begin(self):
        """Starts the program and connects a scanner."""
        scanner = self.plugged_in_scanner(self.records)
        self.start_connected()
        return scanner

    def review(self, answer):
        """Waits for the message about the settings, presses Review, then the button `answer`.
        Returns the listed effects of the settings."""
        self.quillet.wait_for_message(_MESSAGE, _REVIEW)
        self.quillet.press_in_strip(_REVIEW)
        (question,) = wait_until(self.questions, "the question")
        texts = [node.name for node in question.descendants() if node.role == "label"]
        question.find("push button", answer).act("Press")
        wait_until(lambda: self.questions() == [], "the question to close")
        return [line.removeprefix("• ").replace("\u200b", "") for text in texts
                for line in text.splitlines() if line.startswith("• ")]

    def questions(self):
        """Returns the open "Review settings" dialogs, or None while one is closing."""
        application = self.desktop.accessibility.application(self.quillet.pid)
        try:
            return [node for node in application.children() if node.name == "Review settings"]
        except Unreachable:
            return None

    def wait_for_erasing(self, scanner):
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased")

    def lines(self):
        return "".join(record.data.decode() + "\n" for record in self.records)

    def view_run(self, *, erased=False):
        return (messages.RUN_STARTED + self.lines() + messages.count(2)
                + (messages.ERASED if erased else "") + messages.FINISHED)

    def test_does_not_open_programs_or_erase_until_confirmed(self):
        self.save_as_other_user(destination=3, application=_TOOL, auto_sync=1, clear_memory=1)
        scanner = self.begin()
        self.quillet.wait_for_message(_MESSAGE, _REVIEW)
        self.assertEqual(CHAIN, scanner.commands())
        self.assertFalse(os.path.exists(_STARTED))
        self.assertEqual([_START_EFFECT, _RUN_EFFECT, _ERASE_EFFECT],
                         self.review("Use these settings"))
        self.wait_for_erasing(scanner)
        wait_until(lambda: os.path.exists(_STARTED), "the program to start")
        self.quillet.wait_for_view_end(messages.count(2) + messages.ERASED + messages.FINISHED)

    def test_shows_records_in_window_without_confirmation(self):
        self.save_as_other_user(destination=3, application=_TOOL, clear_memory=1)
        scanner = self.begin()
        self.review("Not now")
        self.synchronize(self.view_run())
        self.assertEqual([*CHAIN, *BURST], scanner.commands())
        self.assertFalse(os.path.exists(_STARTED))

    def test_uses_default_file_until_settings_are_confirmed(self):
        self.save_as_other_user(filename=_PRIVATE)
        self.begin()
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        self.quillet.wait_for_view(messages.file_run(2, path))
        self.assert_file(path, self.lines())
        self.assert_file(_PRIVATE, "private")
        self.assertEqual([_REPLACE_EFFECT], self.review("Use these settings"))
        self.quillet.press("Clear")
        self.synchronize(messages.file_run(2, _PRIVATE))
        self.assert_file(_PRIVATE, self.lines())

    def test_asks_for_confirmation_once_per_change(self):
        self.save_as_other_user(destination=1, clear_memory=1)
        self.begin()
        self.review("Use these settings")
        (name,) = [name for name in os.listdir(_STATE) if name != "runs"]
        self.assertEqual(0o600, stat.S_IMODE(os.stat(f"{_STATE}/{name}").st_mode))
        self.end_program()
        scanner = self.begin()
        self.synchronize(self.view_run(erased=True))
        self.wait_for_erasing(scanner)
        self.end_program()
        self.save_as_other_user(filename=_PRIVATE, clear_memory=1)
        self.begin()
        self.assertEqual([_REPLACE_EFFECT, _ERASE_EFFECT], self.review("Use these settings"))
        self.end_program()
        self.save_as_other_user(destination=1, clear_memory=1)
        scanner = self.begin()
        self.synchronize(self.view_run(erased=True))
        self.wait_for_erasing(scanner)

    def check_erasing_stays_off(self, state_mode=0o700):
        """Confirms erasing. Then turns it off while the folder that stores the confirmation has the
        mode `state_mode`. The program must not erase the scanner."""
        self.save_as_other_user(destination=1, clear_memory=1)
        scanner = self.begin()
        self.review("Use these settings")
        os.chmod(_STATE, state_mode)
        self.addCleanup(os.chmod, _STATE, 0o700)
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.box(_ERASE_BOX).act("Toggle")
        window.press("Save")
        window.wait_until_closed()
        self.quillet.wait_for_message(
            "The settings were not saved: permission denied. The settings file is owned by "
            f"{other_user.NAME}.", "Try again")
        self.synchronize(self.view_run())
        self.assertEqual([*CHAIN, *BURST], scanner.commands())
        self.end_program()
        scanner = self.begin()
        self.quillet.wait_for_message(_MESSAGE, _REVIEW)
        self.synchronize(self.view_run())
        self.assertEqual([*CHAIN, *BURST], scanner.commands())

    def test_erasing_stays_off_if_settings_cannot_be_saved(self):
        self.check_erasing_stays_off()

    def test_erasing_stays_off_if_consent_folder_is_read_only(self):
        self.check_erasing_stays_off(state_mode=0o500)
