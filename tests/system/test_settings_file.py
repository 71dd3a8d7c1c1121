"""The settings file and the data folder, in whatever state they are found."""

import os

from harness.case import FOLDER, SHARED, Settings, SystemTest, messages, some_records
from harness.lines import file_text, view_text
from harness.settings import PATH

_READ = "-[SyncController RestoreSettings]: Read registry file done..."


class SettingsFileTest(SystemTest):

    def setUp(self):
        super().setUp()
        self.records = some_records(2)

    def connect_and_synchronize(self, expected_view, clock_set=True):
        self.plugged_in_scanner(self.records)
        self.start_connected(clock_set)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(expected_view)

    def check_defaults_hold(self):
        """A run makes a file of the generated name, of lines as on the first start."""
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

    def assert_settings_file(self, contents):
        with open(PATH, "rb") as file:
            self.assertEqual(contents, file.read())

    def test_every_choice_is_followed(self):
        path = f"{SHARED}/chosen name.csv"
        settings = Settings(attach_type=0, data_delimiter=1, record_delimiter=1, sync_clock=0,
                            serial_position=0, data_order=5, filename=path)
        settings.save()
        self.connect_and_synchronize(messages.file_run(2, path), clock_set=False)
        self.assert_file(path, file_text(self.records, settings))
        self.assert_settings_file(settings.text().encode())

    def test_second_start_follows_the_first_ones_file(self):
        first = self.check_defaults_hold()
        self.close()
        os.unlink(first)
        self.start_connected()
        self.quillet.press("Synchronize")
        self.wait_for_generated_file()
        self.quillet.wait_for_view_end(messages.FINISHED)
        self.assert_settings_file(Settings().text().encode())

    def test_numbers_without_meaning(self):
        # The clock is not set; records are fetched one by one and counted, but go nowhere.
        for contents in (b"", b"11134", bytes(range(256)) * 4, b"\xff\xfd\x80\r\n\x1b" * 200):
            with self.subTest(contents[:5]):
                self.save(contents)
                self.connect_and_synchronize(
                    messages.RUN_STARTED + messages.count(2) + messages.FINISHED, clock_set=False)
                self.assertEqual(["W", "M", "V", "w1#", "W", "N", "GS1", "p0#", "p1#", "GS0"],
                                 self.scanners[0].commands())
                self.assert_settings_file(contents)
                self.close()
                self.assertEqual("", self.scanners.pop().stop())

    def test_file_that_is_too_long(self):
        settings = Settings(destination=1, data_order=3)
        contents = settings.text().encode() + b"1" * 5000
        self.save(contents)
        self.connect_and_synchronize(messages.RUN_STARTED + view_text(self.records, settings)
                                     + messages.count(2) + messages.FINISHED)
        self.assert_settings_file(contents)

    def test_file_that_may_not_be_read(self):
        self.save(b"0" * 1023)
        os.chmod(PATH, 0)
        self.check_defaults_hold()
        os.chmod(PATH, 0o600)
        self.assert_settings_file(Settings().text().encode())

    def test_folder_in_the_files_place(self):
        os.makedirs(PATH)
        self.check_defaults_hold()
        self.assertTrue(os.path.isdir(PATH))
        self.assertIn("Fail to write", self.log.lines())

    def test_pipe_in_the_files_place(self):
        # Whoever opens one to read it may wait for ever.
        os.makedirs(FOLDER)
        os.mkfifo(PATH)
        self.check_defaults_hold()
        self.assert_settings_file(Settings().text().encode())

    def test_data_folder_that_cannot_be_made(self):
        with open(SHARED, "w", encoding="ascii"):
            pass
        self.plugged_in_scanner(self.records)
        self.start_connected()
        self.log.wait_for("Error to create directory /Users/Shared/QuilletData")
        self.log.wait_for("Fail to write")
        self.log.wait_for(_READ)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.count(2) + messages.FINISHED)
        self.assertRegex(self.quillet.view(), r"\A\nSynchronization has started\.\.\.\n\.\n"
                         r"Synchronized to /Users/Shared/QuilletData005771_\d{8}_\d{6}\.txt\n")
        self.log.wait_for("Fail to write", 2)

    def test_data_folder_that_may_not_be_written(self):
        os.makedirs(FOLDER)
        os.chmod(FOLDER, 0o500)
        self.check_defaults_hold()
        self.assertEqual([], os.listdir(FOLDER))
        self.assertNotIn("Error to create directory /Users/Shared/QuilletData", self.log.lines())
        self.assertIn("Fail to write", self.log.lines())
        os.chmod(FOLDER, 0o700)
