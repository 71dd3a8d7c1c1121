"""Tests runs that fetch all records in one transfer."""

import datetime
import re

from harness.case import (BURST, CHAIN, OUTPUT, Record, Settings, SystemTest, messages,
                          some_records)
from harness.lines import file_text, view_text

_TIME = "2026-11-16 09:15:00"
_EMPTY_BURST = ["W", "N", "GS1", "GS0"]


class BurstTest(SystemTest):

    def check_records(self, records, count):
        """Checks the file of a run. `count` is the number of records, excluding erased slots."""
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        self.start_connected()
        self.synchronize(messages.file_run(count, OUTPUT))
        self.assert_file(OUTPUT, file_text(records))
        self.assert_no_stray_files(OUTPUT)

    def test_writes_file_with_generated_name(self):
        records = some_records(130)
        scanner = self.plugged_in_scanner(records)
        self.start_connected()
        before = datetime.datetime.now().replace(microsecond=0)
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        after = datetime.datetime.now()
        self.quillet.wait_for_view(messages.RUN_STARTED + "...\nSynchronized to " + path
                                   + "\n130 barcodes synchronized\n" + messages.FINISHED)
        name = re.fullmatch("/Users/Shared/QuilletData005771_([0-9]{8}_[0-9]{6}).txt", path)
        written = datetime.datetime.strptime(name.group(1), "%Y%m%d_%H%M%S")
        self.assertTrue(before <= written <= after, path)
        self.assert_file(path, file_text(records))
        self.assert_no_stray_files(path)
        self.assertEqual([*CHAIN, *BURST], scanner.commands())

    def test_writes_all_fields_of_a_record(self):
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner([Record(6, b"ABCD", "2012-05-03 16:04:09"),
                                 Record(21, b"4711", "2026-01-31 00:00:59")])
        self.start_connected()
        self.synchronize(messages.file_run(2, OUTPUT))
        self.assert_file(OUTPUT,
                         "Code 128,ABCD,[2012/05/03:16:04:09],005771\r\n"
                         "Code 35,4711,[2026/01/31:00:00:59],005771\r\n")

    def test_writes_all_symbologies_of_300_series_scanners(self):
        records = [Record(code, b"%d" % code * (code * 20 + 1), _TIME) for code in range(64)]
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records, model="300", serial="3001234567",
                                options=["--speed", "unlimited"])
        self.start().wait_for_view(messages.STARTED + messages.connecting(serial="234567"))
        self.quillet.clear()
        self.synchronize_to_file(records, serial="3001234567", model="300")

    def test_writes_all_symbologies_of_older_scanners(self):
        # Code 255 marks an erased slot.
        self.check_records([Record(code, b"%d" % code, _TIME) for code in range(256)], 255)

    def test_writes_records_with_arbitrary_bytes(self):
        records = [Record(6, data, _TIME) for data in (
            b"", b"!", b"@", b"\x03\x00\x00\x06", b"\x11\x13\x04\x1a", b"\r", b"\n", b"a\r\nb",
            b"\x00", b"tab\tand\x7f", b'quotes "', b"\\", b"x" * 250,
            "Größe 5 €".encode(), b"caf\xe9", bytes(range(128, 256)), bytes(range(1, 128)))]
        self.check_records(records, len(records))

    def test_does_not_write_a_file_if_there_are_no_records(self):
        scanner = self.plugged_in_scanner()
        Settings(clear_memory=1).save()
        self.start_connected()
        self.synchronize("\nSynchronization has started...\n"
                         "No data to synchronize...\n"
                         "Synchronization finished. Tavo can be plugged off now\n")
        self.assertEqual([*CHAIN, *_EMPTY_BURST], scanner.commands())
        self.assert_no_stray_files()

    def test_erases_scanner_once_after_a_run(self):
        records = some_records(4)
        Settings(clear_memory=1, filename=OUTPUT).save()
        scanner = self.plugged_in_scanner(records)
        self.start_connected()
        run = messages.erasing_run(4, OUTPUT)
        self.synchronize(run)
        scanner.wait_for_commands([*CHAIN, *BURST, "E"])
        self.assertEqual(0, scanner.record_count())
        self.synchronize(run + messages.EMPTY_RUN)
        scanner.wait_for_commands([*CHAIN, *BURST, "E", *_EMPTY_BURST])
        self.assert_file(OUTPUT, file_text(records))

    def test_appends_to_the_file(self):
        Settings(append_data=1, attach_timestamp=0, filename=OUTPUT).save()
        old = "kept from last year: äöü\r\n"
        with open(OUTPUT, "w", encoding="utf-8", newline="") as file:
            file.write(old)
        self.plugged_in_scanner([Record(6, b"new", _TIME)])
        self.start_connected()
        run = messages.file_run(1, OUTPUT)
        new = "Code 128,new,005771\r\n"
        self.synchronize(run)
        self.assert_file(OUTPUT, old + new)
        self.synchronize(run + run)
        self.assert_file(OUTPUT, old + new + new)
        self.assert_no_stray_files(OUTPUT)

    def test_shows_records_in_the_view(self):
        settings = Settings(destination=1, attach_type=0, data_delimiter=1)
        settings.save()
        records = [*some_records(70), Record(0, "Größe 5 €".encode(), _TIME)]
        self.plugged_in_scanner(records)
        self.start_connected()
        self.synchronize(messages.RUN_STARTED + view_text(records, settings) + messages.count(71)
                         + messages.FINISHED)
        self.assert_no_stray_files()

    def test_shows_live_scans_in_the_view(self):
        Settings(destination=1, attach_timestamp=0, record_delimiter=1).save()
        scanner = self.plugged_in_scanner()
        self.start_connected()
        scanner.scan(4, "A-1")
        scanner.scan(4, "A-2")
        self.quillet.wait_for_view("Code 39,A-1,005771\nCode 39,A-2,005771\n")

    def test_live_scan_between_runs_is_written_by_next_run(self):
        Settings(attach_timestamp=0, filename=OUTPUT).save()
        scanner = self.plugged_in_scanner()
        self.start_connected()
        scanner.scan(4, "A-1")
        self.quillet.wait_for_view(".")
        self.assert_no_stray_files()
        self.synchronize("." + messages.file_run(1, OUTPUT))
        self.assert_file(OUTPUT, "Code 39,A-1,005771\r\n")
