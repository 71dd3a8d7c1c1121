"""Tests unusual settings files and data folders."""

import os

from harness.case import CHAIN, FOLDER, SHARED, Settings, SystemTest, messages, some_records
from harness.lines import file_text
from harness.settings import PATH

_RUN = ["W", "N", "GS1", "p0#", "p1#", "GS0"]


class SettingsFileTest(SystemTest):

    def setUp(self):
        super().setUp()
        self.records = some_records(2)

    def connect_and_synchronize(self, expected_view, clock_set=True):
        self.plugged_in_scanner(self.records)
        self.start_connected(clock_set)
        self.synchronize(expected_view)

    def check_defaults(self):
        """Checks that a run uses the default settings. Returns the path of its output file."""
        self.plugged_in_scanner(self.records)
        self.start_connected()
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        self.quillet.wait_for_view(messages.file_run(2, path))
        self.assert_file(path, file_text(self.records))
        return path

    def save(self, contents):
        os.makedirs(FOLDER, exist_ok=True)
        with open(PATH, "wb") as file:
            file.write(contents)

    def assert_settings_file(self, contents=Settings().text().encode()):
        with open(PATH, "rb") as file:
            self.assertEqual(contents, file.read())

    def test_applies_every_setting(self):
        path = f"{SHARED}/chosen name.csv"
        settings = Settings(attach_type=0, data_delimiter=1, record_delimiter=1, sync_clock=0,
                            serial_position=0, data_order=5, filename=path)
        settings.save()
        self.connect_and_synchronize(messages.file_run(2, path), clock_set=False)
        self.assert_file(path, file_text(self.records, settings))
        self.assert_settings_file(settings.text().encode())

    def test_second_start_reads_the_saved_defaults(self):
        first = self.check_defaults()
        self.close()
        os.unlink(first)
        self.start_connected()
        self.quillet.press("Synchronize")
        self.wait_for_generated_file()
        self.quillet.wait_for_view_end(messages.FINISHED)
        self.assert_settings_file()

    def test_invalid_file_turns_off_clock_sync_and_delivery(self):
        # With these contents, the program does not set the clock. It requests and counts each
        # record, but delivers none.
        for contents in (b"", b"11134", bytes(range(256)) * 4, b"\xff\xfd\x80\r\n\x1b" * 200):
            with self.subTest(contents[:5]):
                self.save(contents)
                self.connect_and_synchronize(
                    messages.RUN_STARTED + messages.count(2) + messages.FINISHED, clock_set=False)
                self.assertEqual([*CHAIN[:-1], *_RUN], self.scanners[0].commands())
                self.assert_settings_file(contents)
                self.end_program()

    def test_logs_failure_to_create_the_data_folder(self):
        with open(SHARED, "w", encoding="ascii"):
            pass
        self.plugged_in_scanner(self.records)
        self.start_connected()
        self.log.wait_for("Error to create directory /Users/Shared/QuilletData")
        self.log.wait_for("Fail to write")
        self.log.wait_for("-[SyncController RestoreSettings]: Read registry file done...")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.count(2) + messages.FINISHED)
        self.assertRegex(self.quillet.view(), r"\A\nSynchronization has started\.\.\.\n\.\n"
                         r"Synchronized to /Users/Shared/QuilletData005771_\d{8}_\d{6}\.txt\n")
        self.log.wait_for("Fail to write", 2)
