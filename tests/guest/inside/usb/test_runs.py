"""Both ways of a run with both layouts of records; the file is compared byte for byte."""

from case import OUTPUT, Settings, UsbTest, messages, some_records
from harness.lines import file_text
from harness.scanner import Record

_COUNT = 200
_SERIAL = {"old": "2104005771", "300": "3001005771"}


class RunsTest(UsbTest):

    def check(self, model, **chosen):
        settings = Settings(filename=OUTPUT, **chosen)
        settings.save()
        # The last record holds every byte value from 1 on that is no part of a character.
        records = [*some_records(_COUNT - 1),
                   Record(6, bytes(range(1, 0x80)), "2026-11-16 09:15:00")]
        serial = _SERIAL[model]
        scanner = self.plugged_in_scanner(records, model=model, serial=serial)
        quillet = self.start_connected()
        before = scanner.sent_bytes()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(_COUNT, OUTPUT))
        written = self.assert_file(file_text(records, settings, serial, model))
        self.say(f"{_COUNT} records, {scanner.sent_bytes() - before} bytes from the scanner, "
                 f"{written} bytes in the file")

    def test_burst_of_an_older_scanner(self):
        self.check("old")

    def test_one_by_one_from_the_300_series(self):
        self.check("300", burst_sync=0)
