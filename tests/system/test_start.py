"""Starting with a scanner plugged in."""

import datetime
import os

from harness.case import FOLDER, Settings, SystemTest, messages, some_records
from harness.lines import file_text
from harness.settings import PATH

_START_CHAIN = ["W", "M", "V", "w1#", "C"]


class StartTest(SystemTest):

    def test_scanner_is_connected_without_any_action(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start()
        quillet.wait_for_view("Quillet has started...\n"
                              "\n"
                              "Trying to connect /dev/ttyACM0: \n"
                              "Connected to Tavo[005771]\n"
                              "Tavo Time sychronized...\n")
        quillet.wait_for_connect_label("Disconnect")
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        self.assertEqual(["Disconnect", "Synchronize", "Settings", "Clear"], quillet.buttons())
        self.assertEqual(_START_CHAIN, scanner.commands())

    def test_window_title_names_the_scanner(self):
        self.plugged_in_scanner()
        self.start_connected()
        self.quillet.wait_for_title("Quillet V1.25[005771]")
        self.assertEqual("Quillet V1.25[005771]", self.quillet.screen_reader_title())
        self.quillet.press("Disconnect")
        self.quillet.wait_for_title("Quillet V1.25")
        self.assertEqual("Quillet V1.25", self.quillet.screen_reader_title())

    def test_scanners_clock_is_set_to_local_time(self):
        scanner = self.plugged_in_scanner()
        # No machine that runs this test is set to this zone by itself.
        zone = datetime.timezone(datetime.timedelta(hours=-5, minutes=-29))
        before = datetime.datetime.now(zone).replace(microsecond=0, tzinfo=None)
        self.start(environment={"TZ": "XST+5:29"})
        self.quillet.wait_for_view_end(messages.CLOCK_SET)
        after = datetime.datetime.now(zone).replace(tzinfo=None)
        ((year, *rest),) = scanner.clock_settings()
        self.assertLessEqual(before, datetime.datetime(2000 + year, *rest))
        self.assertLessEqual(datetime.datetime(2000 + year, *rest), after)

    def test_clock_is_left_alone_when_the_settings_say_so(self):
        Settings(sync_clock=0).save()
        scanner = self.plugged_in_scanner()
        self.start_connected(clock_set=False)
        self.assertEqual(["W", "M", "V", "w1#"], scanner.commands())

    def test_first_start_writes_the_default_settings(self):
        self.plugged_in_scanner()
        self.start_connected()
        name = "/Applications/TextEdit\r"
        path = "/Users/Shared/QuilletData/sn_timestamp.txt\r"
        expected = ("11134100100100" + "0" * 242 + name + "0" * (128 - len(name))
                    + path + "0" * (639 - len(path)))
        self.assertEqual(1023, len(expected))
        self.assert_file(PATH, expected)
        self.assert_no_stray_files()

    def test_auto_sync_runs_once_connected(self):
        records = some_records(3)
        Settings(auto_sync=1, filename=f"{FOLDER}/auto.txt").save()
        scanner = self.plugged_in_scanner(records)
        self.start().wait_for_view(messages.STARTED + messages.connecting()
                                   + messages.file_run(3, f"{FOLDER}/auto.txt"))
        self.assertEqual([*_START_CHAIN, "W", "N", "GS1", "P", "W", "GS0"], scanner.commands())

    def test_auto_sync_leaves_clear_and_disconnect_working(self):
        Settings(auto_sync=1, filename=f"{FOLDER}/auto.txt").save()
        self.plugged_in_scanner(some_records(3), faults=["on P silence"])
        self.start().wait_for_view(messages.STARTED + messages.connecting()
                                   + messages.RUN_STARTED)
        self.quillet.wait_until_attempt_is_over()
        self.quillet.press("Disconnect")
        self.quillet.wait_for_view(messages.disconnected())
        self.assertFalse(os.path.exists(f"{FOLDER}/auto.txt"))

    def test_closed_standard_streams_do_no_harm(self):
        # What is opened first would get the number of what was closed, and be written to or closed
        # for it.
        records = some_records(5)
        path = f"{FOLDER}/out.txt"
        Settings(filename=path).save()
        self.plugged_in_scanner(records)
        for number in (0, 1, 2):
            with self.subTest(closed=number):
                self.start(preexec_fn=lambda number=number: os.close(number))
                self.assertEqual("/dev/null",
                                 os.readlink(f"/proc/{self.quillet.pid}/fd/{number}"))
                self.quillet.wait_for_view(messages.STARTED + messages.connecting())
                self.quillet.wait_until_attempt_is_over()
                self.quillet.press("Synchronize")
                self.quillet.wait_for_view(messages.file_run(5, path))
                self.assert_file(path, file_text(records))
                self.close()
