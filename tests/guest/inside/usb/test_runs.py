"""Downloads with both record layouts, in a burst and record by record."""

import os

from case import OUTPUT, Settings, UsbTest, some_records
from harness.scanner import Record

_COUNT = 200
_SERIAL = {"old": "2104005771", "300": "3001005771"}


class RunsTest(UsbTest):

    def check(self, model, **chosen):
        settings = Settings(filename=OUTPUT, **chosen)
        settings.save()
        # The last record contains all ASCII characters except NUL.
        records = [*some_records(_COUNT - 1),
                   Record(6, bytes(range(1, 0x80)), "2026-11-16 09:15:00")]
        serial = _SERIAL[model]
        scanner = self.plugged_in_scanner(records, model=model, serial=serial)
        self.start_connected()
        before = scanner.sent_bytes()
        self.synchronize_to_file(records, settings, serial=serial, model=model)
        self.say(f"{_COUNT} records, {scanner.sent_bytes() - before} bytes from the scanner, "
                 f"{os.path.getsize(OUTPUT)} bytes in the file")

    def test_writes_burst_from_older_scanner(self):
        self.check("old")

    def test_writes_records_of_the_300_series(self):
        self.check("300", burst_sync=0)
