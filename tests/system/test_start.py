"""Starts the program with a scanner plugged in."""

import datetime
import os

from harness.case import (BURST, CHAIN, FOLDER, OUTPUT, Settings, SystemTest, messages,
                          some_records)


class StartTest(SystemTest):

    def test_connects_to_the_scanner(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start()
        quillet.wait_for_view("Quillet has started...\n"
                              "\n"
                              "Trying to connect /dev/ttyACM0: \n"
                              "Connected to Tavo[005771]\n"
                              "Tavo Time sychronized...\n")
        quillet.wait_for_connect_label("Disconnect")
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.wait_for_title("Quillet V1.25[005771]")
        self.assertEqual(["Disconnect", "Synchronize", "Settings", "Clear"], quillet.buttons())
        self.assertEqual(CHAIN, scanner.commands())

    def test_marks_hidden_characters_in_the_serial_number(self):
        self.plugged_in_scanner(serial="2104\u202e123")
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + messages.connecting(serial="\u202e123"))
        quillet.wait_for_ports(["None", "Tavo[\ufffd123]"])
        quillet.wait_for_title("Quillet V1.25[\ufffd123]")

    def test_sets_scanner_clock_to_local_time(self):
        scanner = self.plugged_in_scanner()
        # An unusual offset, because it must differ from the machine's time zone.
        zone = datetime.timezone(datetime.timedelta(hours=-5, minutes=-29))
        before = datetime.datetime.now(zone).replace(microsecond=0, tzinfo=None)
        self.start(environment={"TZ": "XST+5:29"})
        self.quillet.wait_for_view_end(messages.CLOCK_SET)
        after = datetime.datetime.now(zone).replace(tzinfo=None)
        ((year, *rest),) = scanner.clock_settings()
        self.assertLessEqual(before, datetime.datetime(2000 + year, *rest))
        self.assertLessEqual(datetime.datetime(2000 + year, *rest), after)

    def test_auto_sync_runs_after_connecting(self):
        Settings(auto_sync=1, filename=f"{FOLDER}/auto.txt").save()
        scanner = self.plugged_in_scanner(some_records(3))
        self.start().wait_for_view(messages.STARTED + messages.connecting()
                                   + messages.file_run(3, f"{FOLDER}/auto.txt"))
        self.assertEqual([*CHAIN, *BURST], scanner.commands())

    def test_works_with_closed_standard_streams(self):
        # The program must open /dev/null in place of a closed stream. Otherwise, the next opened
        # file would get the stream's descriptor and receive the output.
        records = some_records(5)
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        for number in (0, 1, 2):
            with self.subTest(closed=number):
                self.start(preexec_fn=lambda number=number: os.close(number))
                self.assertEqual("/dev/null",
                                 os.readlink(f"/proc/{self.quillet.pid}/fd/{number}"))
                self.quillet.wait_for_view(messages.STARTED + messages.connecting())
                self.quillet.clear()
                self.synchronize_to_file(records)
                self.close()
